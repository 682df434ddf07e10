#include "together.h"

#include <cstdio>
#include <exception>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Lets processes wait for a common start: each blocks on the pipe until its last writer has closed it.
class Gate {
public:
  Gate() { EXPECT_EQ(0, pipe(m_ends)); }

  ~Gate() {
    close(m_ends[0]);
    open();
  }

  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  void open() {
    if (m_ends[1] != -1) {
      close(m_ends[1]);
      m_ends[1] = -1;
    }
  }

  void pass() {
    open();
    char cUnused = 0;
    while (read(m_ends[0], &cUnused, 1) > 0) {
    }
  }

private:
  int m_ends[2] = {-1, -1};
};

// An exception must not make a child continue with its parent's tests.
int resultOf(const std::function<int(int)>& work, int iProcess) noexcept {
  try {
    return work(iProcess);
  } catch (const std::exception& failure) {
    fprintf(stderr, "process %d: %s\n", iProcess, failure.what());
    return 127;
  }
}

}  // namespace

std::vector<int> runTogether(int cProcesses, const std::function<int(int)>& work) {
  Gate gate;
  std::vector<pid_t> children;
  for (int iProcess = 0; iProcess < cProcesses; ++iProcess) {
    const pid_t pid = fork();
    if (pid == 0) {
      gate.pass();
      _exit(resultOf(work, iProcess));
    }
    children.push_back(pid);
  }
  gate.open();
  std::vector<int> results;
  for (const pid_t pid : children) {
    int iStatus = 0;
    EXPECT_EQ(pid, waitpid(pid, &iStatus, 0));
    results.push_back(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1);
  }
  return results;
}
