/// \file unique_fd.h
/// A descriptor that closes itself.

#pragma once

#include <unistd.h>
#include <utility>

namespace Host {

class UniqueFd {
public:
  explicit UniqueFd(int fd = -1) : m_fd(fd) {}
  ~UniqueFd() { reset(); }
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      reset();
      m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
  }
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;

  int get() const { return m_fd; }
  bool isOpen() const { return m_fd >= 0; }
  int release() { return std::exchange(m_fd, -1); }
  void reset() {
    if (m_fd >= 0) {
      ::close(std::exchange(m_fd, -1));
    }
  }

private:
  int m_fd;
};

}  // namespace Host
