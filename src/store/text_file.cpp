// Whole files as text.

#include <fcntl.h>

#include "support/boundary.h"
#include "support/check.h"
#include "support/file.h"

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_UTIL;

bool readRegular(const std::string& strPath, std::string& strContent) {
  struct stat info{};
  const Orva::FileDescriptor file = Orva::openRegular(strPath, 0, info);
  std::string strRead;
  if (!file.isOpen() || !Orva::readAll(file.get(), strRead)) {
    return false;
  }
  strContent.swap(strRead);
  return true;
}

}  // namespace

int loadFile(std::string strFilePath, std::string& strContent) {
  return GUARDED([&] {
    if (readRegular(strFilePath, strContent)) {
      return 0;
    }
    // Callers read what may never have been written; they are not to fill the log with it.
    const int iErrno = errno;
    if (Orva::isMissing(strFilePath)) {
      return 1;
    }
    errno = iErrno;
    LOG_FAILED("!in");
    LOG_ERROR("strFilePath=%s", strFilePath.c_str());
    return -1;
  });
}
