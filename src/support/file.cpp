#include "support/file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Orva {

bool FileDescriptor::close() {
  if (m_iFd < 0) {
    return true;
  }
  const int iFd = m_iFd;
  m_iFd = -1;
  return 0 == ::close(iFd);
}

bool isMissing(const std::string& strPath) {
  return 0 != access(strPath.c_str(), F_OK) && ENOENT == errno;
}

FileDescriptor openRegular(const std::string& strPath, int iFlags, struct stat& info) {
  const int iFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | iFlags);
  if (iFd < 0) {
    return FileDescriptor();
  }
  if (0 == fstat(iFd, &info) && S_ISREG(info.st_mode)) {
    return FileDescriptor(iFd);
  }
  ::close(iFd);
  errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  return FileDescriptor();
}

bool readAll(int iFd, std::string& strContent) {
  constexpr std::size_t CB_CHUNK = 1 << 16;
  std::size_t cbRead = 0;
  for (;;) {
    strContent.resize(cbRead + CB_CHUNK);
    const ssize_t cb = read(iFd, strContent.data() + cbRead, CB_CHUNK);
    if (cb < 0 && EINTR == errno) {
      continue;
    }
    if (cb < 0) {
      return false;
    }
    cbRead += static_cast<std::size_t>(cb);
    if (0 == cb) {
      strContent.resize(cbRead);
      return true;
    }
  }
}

bool writeAll(int iFd, const std::string& strContent) {
  std::size_t cbWritten = 0;
  while (cbWritten < strContent.size()) {
    const ssize_t cb = write(iFd, strContent.data() + cbWritten, strContent.size() - cbWritten);
    if (cb < 0 && EINTR == errno) {
      continue;
    }
    if (cb < 0) {
      return false;
    }
    cbWritten += static_cast<std::size_t>(cb);
  }
  return true;
}

}  // namespace Orva
