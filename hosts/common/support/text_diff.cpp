#include "text_diff.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "files.h"
#include "program.h"

namespace Host {

bool writeDifference(const DiffSide& left, const DiffSide& right, bool blColor, int fdOut) {
  // Numbers that neither side has, so that giving one does not close the other.
  constexpr int FD_LEFT = 200;
  constexpr int FD_RIGHT = 201;
  Program diff({"diff", "--unified", "--text", blColor ? "--color=always" : "--color=never", "--label=" + left.strLabel,
                "--label=" + right.strLabel, "/dev/fd/200", "/dev/fd/201"});
  diff.give(left.fd, FD_LEFT);
  diff.give(right.fd, FD_RIGHT);
  diff.give(fdOut, STDOUT_FILENO);
  const int iStatus = diff.run();
  if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) > 1) {
    throw Failure(fmt::format("diff could not compare {} with {}", left.strLabel, right.strLabel));
  }
  return WEXITSTATUS(iStatus) == 0;
}

std::string differenceText(const DiffSide& left, const DiffSide& right) {
  const UniqueFd out = fileOfText({});
  writeDifference(left, right, false, out.get());
  return readAll(out.get(), "the difference");
}

UniqueFd fileOfText(const std::string& strText) {
  UniqueFd fd(memfd_create("text", MFD_CLOEXEC));
  if (!fd.isOpen() || write(fd.get(), strText.data(), strText.size()) != static_cast<ssize_t>(strText.size())) {
    throw Failure(fmt::format("cannot hold a text in memory: {}", std::strerror(errno)));
  }
  return fd;
}

}  // namespace Host
