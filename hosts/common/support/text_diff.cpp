#include "text_diff.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "failure.h"

namespace Host {

namespace {

/// What the program finds under its own numbers.
class FileActions {
public:
  FileActions() { posix_spawn_file_actions_init(&m_actions); }
  ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  /// Also when both numbers are the same: the descriptor is then inherited.
  void hand(int fd, int fdThere) { posix_spawn_file_actions_adddup2(&m_actions, fd, fdThere); }
  const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
  posix_spawn_file_actions_t m_actions{};
};

/// Runs a program and waits for it.
/// \return its wait status.
int runProgram(const std::array<const char*, 9>& args, const FileActions& actions) {
  std::fflush(stdout);
  pid_t pid = 0;
  const int iError =
      posix_spawnp(&pid, args[0], actions.get(), nullptr, const_cast<char* const*>(args.data()), environ);
  if (iError != 0) {
    throw Failure(fmt::format("cannot run {}: {}", args[0], std::strerror(iError)));
  }
  int iStatus = 0;
  while (waitpid(pid, &iStatus, 0) < 0) {
    if (errno != EINTR) {
      throw Failure(fmt::format("cannot wait for {}: {}", args[0], std::strerror(errno)));
    }
  }
  return iStatus;
}

/// Compares two texts; what diff prints goes to standard output unless the actions say otherwise.
/// \return true when there is no difference.
bool compare(const DiffSide& left, const DiffSide& right, bool blColor, FileActions& actions) {
  // Numbers that neither side has now, so that handing over the one does not close the other.
  constexpr int FD_LEFT = 200;
  constexpr int FD_RIGHT = 201;
  actions.hand(left.fd, FD_LEFT);
  actions.hand(right.fd, FD_RIGHT);
  const std::string strLeft = "--label=" + left.strLabel;
  const std::string strRight = "--label=" + right.strLabel;
  const int iStatus = runProgram({"diff", "--unified", "--text", blColor ? "--color=always" : "--color=never",
                                  strLeft.c_str(), strRight.c_str(), "/dev/fd/200", "/dev/fd/201", nullptr},
                                 actions);
  if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) > 1) {
    throw Failure(fmt::format("diff could not compare {} with {}", left.strLabel, right.strLabel));
  }
  return WEXITSTATUS(iStatus) == 0;
}

}  // namespace

bool printDifference(const DiffSide& left, const DiffSide& right, bool blColor) {
  FileActions actions;
  return compare(left, right, blColor, actions);
}

std::string differenceText(const DiffSide& left, const DiffSide& right) {
  const UniqueFd out = fileOfText({});
  FileActions actions;
  actions.hand(out.get(), STDOUT_FILENO);
  compare(left, right, false, actions);
  lseek(out.get(), 0, SEEK_SET);
  return textOfFile(out);
}

std::string textOfFile(const UniqueFd& fd) {
  std::string strText;
  std::array<char, 65536> buffer{};
  ssize_t cb = 0;
  while ((cb = read(fd.get(), buffer.data(), buffer.size())) > 0) {
    strText.append(buffer.data(), static_cast<std::size_t>(cb));
  }
  if (cb < 0) {
    throw Failure(fmt::format("cannot read what the run left: {}", std::strerror(errno)));
  }
  return strText;
}

UniqueFd fileOfText(const std::string& strText) {
  UniqueFd fd(memfd_create("text", MFD_CLOEXEC));
  if (!fd.isOpen() || write(fd.get(), strText.data(), strText.size()) != static_cast<ssize_t>(strText.size())) {
    throw Failure(fmt::format("cannot hold a text in memory: {}", std::strerror(errno)));
  }
  return fd;
}

}  // namespace Host
