#include "end_reports.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "common/support/failure.h"

namespace Host {

namespace {

/// Held from reading reports until they are noted: a reader of an empty pipe finds all of them in the file.
UniqueFd lockFile(const std::string& strPath) {
  UniqueFd fd(open(strPath.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  struct flock lock{};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_len = 1;
  if (!fd.isOpen() || fcntl(fd.get(), F_OFD_SETLKW, &lock) < 0) {
    throw Failure(fmt::format("cannot lock {}: {}", strPath, std::strerror(errno)));
  }
  return fd;
}

}  // namespace

EndReports::EndReports() {
  fcntl(m_pipe.reader.get(), F_SETFL, O_NONBLOCK);
}

bool EndReports::tell(int fdWriter, const EndReport& report) {
  return write(fdWriter, &report, sizeof report) == static_cast<ssize_t>(sizeof report);
}

void EndReports::collect(const ExecutionFile& file) const {
  const UniqueFd lock = lockFile(file.path());
  std::array<EndReport, 64> reports{};
  for (ssize_t cb = 0; (cb = read(m_pipe.reader.get(), reports.data(), sizeof reports)) > 0;) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(cb) / sizeof(EndReport); ++i) {
      file.noteEnd(reports[i].pid, reports[i].iStatus, reports[i].cbWritten, reports[i].iDirectoryError);
    }
  }
}

}  // namespace Host
