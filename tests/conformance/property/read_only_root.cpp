#include "conformance/property/read_only_root.h"

#include <cerrno>
#include <sys/mount.h>
#include <system_error>

namespace OrvaTest {

void makeRootReadOnly() {
  for (const char* szTree : {EORVA_SOURCE_DIR, EORVA_BINARY_DIR}) {
    if (::mount(szTree, szTree, nullptr, MS_BIND | MS_REC, nullptr) != 0) {
      throw std::system_error(errno, std::generic_category(), szTree);
    }
  }
  if (::mount(nullptr, "/", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "/");
  }
}

}  // namespace OrvaTest
