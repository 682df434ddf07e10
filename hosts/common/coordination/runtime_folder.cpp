#include "runtime_folder.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/stat.h>

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

void makeFolder(const char* szPath) {
  if (mkdir(szPath, 0700) < 0 && errno != EEXIST) {
    throw Failure(fmt::format("cannot create {}: {}", szPath, std::strerror(errno)));
  }
}

}  // namespace

void makeRuntimeFolder() {
  makeFolder(RUNTIME_FOLDER);
}

void makeRuntimeFolder(const char* szPath) {
  makeRuntimeFolder();
  makeFolder(szPath);
}

}  // namespace Host
