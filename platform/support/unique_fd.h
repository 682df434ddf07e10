/// \file unique_fd.h
/// A file descriptor that closes itself.

#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace orva {

class UniqueFd {
public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : m_fd(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() {
    if (m_fd >= 0) {
      const int iErrno = errno;
      ::close(m_fd);
      errno = iErrno;
    }
  }

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

private:
  int m_fd = -1;
};

}  // namespace orva
