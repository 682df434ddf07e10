#include "support/file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Only a regular file can be under a lease.
int openLeased(const std::string& strPath, int iFlags) {
  const Orva::FileDescriptor found(open(strPath.c_str(), O_PATH | O_CLOEXEC | iFlags));
  struct stat info{};
  if (0 != fstat(found.get(), &info) || !S_ISREG(info.st_mode)) {
    errno = EWOULDBLOCK;
    return -1;
  }
  return open(("/proc/self/fd/" + std::to_string(found.get())).c_str(), O_RDONLY | O_CLOEXEC);
}

// The file may be a pipe without a writer.
int openForReading(const std::string& strPath, int iFlags, Orva::Leased leased) {
  const int iFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | iFlags);
  const bool blWait = iFd < 0 && EWOULDBLOCK == errno && Orva::Leased::WAIT == leased;
  return blWait ? openLeased(strPath, iFlags) : iFd;
}

}  // namespace

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
  return 0 != access(strPath.c_str(), F_OK);
}

FileDescriptor openRegular(const std::string& strPath, int iFlags, struct stat& info, Leased leased) {
  const int iFd = openForReading(strPath, iFlags, leased);
  if (iFd < 0) {
    return FileDescriptor();
  }
  const bool blExamined = 0 == fstat(iFd, &info);
  if (blExamined && S_ISREG(info.st_mode)) {
    return FileDescriptor(iFd);
  }
  const int iErrno = !blExamined ? errno : S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
  ::close(iFd);
  errno = iErrno;
  return FileDescriptor();
}

bool readUpTo(int iFd, off_t cbMost, std::string& strContent) {
  strContent.resize(static_cast<std::size_t>(cbMost));
  std::size_t cbRead = 0;
  while (cbRead < strContent.size()) {
    const ssize_t cb = read(iFd, strContent.data() + cbRead, strContent.size() - cbRead);
    if (cb < 0 && EINTR == errno) {
      continue;
    }
    if (cb < 0) {
      return false;
    }
    if (0 == cb) {
      break;
    }
    cbRead += static_cast<std::size_t>(cb);
  }
  strContent.resize(cbRead);
  return true;
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
