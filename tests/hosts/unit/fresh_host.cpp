#include "fresh_host.h"

#include <filesystem>

#include "common/support/paths.h"
#include "support/files.h"
#include "support/private_view.h"

namespace HostTest {

void freshHost() {
  OrvaTest::freshProduct();
  OrvaTest::installShareFiles();
  std::filesystem::create_directories(Host::STORE_FOLDER);
  std::filesystem::remove_all(Host::RUNTIME_FOLDER);
}

}  // namespace HostTest
