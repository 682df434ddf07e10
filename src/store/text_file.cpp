// Reads whole files as text.

#include <algorithm>
#include <cerrno>
#include <fcntl.h>

#include "store/run_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/file.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

enum class Trust { ANY_FILE, PLAIN_FILE };

FileDescriptor openTrusted(const std::string& strPath, Trust trust, struct stat& info) {
  return Trust::PLAIN_FILE == trust ? openRegular(strPath, O_NOFOLLOW, info, Leased::FAIL)
                                    : openRegular(strPath, 0, info, Leased::WAIT);
}

bool readRegular(const std::string& strPath, Trust trust, off_t cbMost, std::string& strContent) {
  struct stat info{};
  const FileDescriptor file = openTrusted(strPath, trust, info);
  if (!file.isOpen()) {
    return false;
  }
  if (Trust::PLAIN_FILE == trust && 1 != info.st_nlink) {
    errno = EMLINK;
    return false;
  }
  std::string strRead;
  if (!readUpTo(file.get(), std::min(info.st_size, cbMost), strRead)) {
    return false;
  }
  strContent.swap(strRead);
  return true;
}

// A link that is not followed exists, even if it is dangling.
bool isGone(const std::string& strPath, Trust trust) {
  struct stat info{};
  return Trust::PLAIN_FILE == trust ? 0 != lstat(strPath.c_str(), &info) : isMissing(strPath);
}

int load(const std::string& strFilePath, Trust trust, off_t cbMost, std::string& strContent) {
  if (readRegular(strFilePath, trust, cbMost, strContent)) {
    return 0;
  }
  const int iErrno = errno;
  if (isGone(strFilePath, trust)) {
    // Not logged, because callers also read files that may never have been written.
    return 1;
  }
  errno = iErrno;
  LOG_FAILED("!in");
  LOG_ERROR("strFilePath=%s", strFilePath.c_str());
  return -1;
}

}  // namespace

namespace Orva {

int loadRunFile(const std::string& strFilePath, std::string& strContent, off_t cbMost) {
  return GUARDED([&] { return load(strFilePath, Trust::PLAIN_FILE, cbMost, strContent); });
}

}  // namespace Orva

int loadFile(std::string strFilePath, std::string& strContent) {
  return GUARDED([&] { return load(strFilePath, Trust::ANY_FILE, WHOLE_FILE, strContent); });
}
