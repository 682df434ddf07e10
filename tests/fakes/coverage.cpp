#include "fakes/coverage.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

extern "C" void __gcov_dump() __attribute__((weak));
extern "C" void __gcov_reset() __attribute__((weak));

namespace OrvaTest {

void saveCoverage() {
  if (!__gcov_dump || !__gcov_reset) {
    return;
  }
  const int iErrno = errno;
  __gcov_dump();
  __gcov_reset();
  std::error_code error;
  for (std::filesystem::recursive_directory_iterator it(EORVA_BINARY_DIR, error), end; !error && it != end;
       it.increment(error)) {
    if (it->path().extension() == ".gcda") {
      ::chmod(it->path().c_str(), 0666);
    }
  }
  errno = iErrno;
}

}  // namespace OrvaTest
