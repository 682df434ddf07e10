#include "file_alarm.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "failure.h"

namespace Host {

FileAlarm::FileAlarm(const std::string& strPath) : m_fd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (m_fd.isOpen() && inotify_add_watch(m_fd.get(), strPath.c_str(), IN_MODIFY) >= 0) {
    return;
  }
  const int iError = errno;
  m_fd.reset();
  if (iError != EMFILE && iError != ENOSPC) {
    throw Failure(fmt::format("cannot watch {}: {}", strPath, std::strerror(iError)));
  }
}

void FileAlarm::reset() const {
  std::array<char, 4096> events{};
  while (read(m_fd.get(), events.data(), events.size()) > 0) {
  }
}

}  // namespace Host
