#include "held_run.h"

#include <csignal>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/control_group.h"
#include "wait_until.h"

using namespace Host;

namespace HostTest {

namespace {

int asShellTells(int iStatus) {
  return WIFSIGNALED(iStatus) ? 128 + WTERMSIG(iStatus) : WEXITSTATUS(iStatus);
}

}  // namespace

void endWith(pid_t pidParent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != pidParent) {
    _exit(0);
  }
}

HeldRun::HeldRun(const std::string& strUnit, const std::string& strShell) {
  static int s_cRuns = 0;
  if (!strUnit.empty()) {
    m_strGroupName = "run-" + std::to_string(++s_cRuns);
    m_strGroup = strUnit + "/" + m_strGroupName;
    ControlGroup(m_strGroup).create();
  }
  const pid_t pidParent = getpid();
  m_pid = fork();
  if (m_pid == 0) {
    be(pidParent, strShell);
  }
  m_in.reader.reset();
  m_out.writer.reset();
  // Its first line: it is where it belongs.
  hear();
}

HeldRun::~HeldRun() {
  waitUntil([&] { return group().kill(), group().isEmpty(); });
  if (!m_blEnded) {
    waitpid(m_pid, nullptr, 0);
  }
}

void HeldRun::be(pid_t pidParent, const std::string& strShell) {
  endWith(pidParent);
  setsid();
  if (!m_strGroup.empty()) {
    ControlGroup(m_strGroup).enter();
  }
  if (write(m_out.writer.get(), "\n", 1) != 1) {
    _exit(1);
  }
  const pid_t pidSelf = getpid();
  const pid_t pidShell = fork();
  if (pidShell == 0) {
    endWith(pidSelf);
    dup2(m_in.reader.get(), STDIN_FILENO);
    dup2(m_out.writer.get(), STDOUT_FILENO);
    execl("/bin/sh", "sh", "-c", strShell.c_str(), nullptr);
    _exit(127);
  }
  int iStatus = 0;
  waitpid(pidShell, &iStatus, 0);
  _exit(asShellTells(iStatus));
}

std::string HeldRun::hear() const {
  std::string strLine;
  for (char c = 0; read(m_out.reader.get(), &c, 1) == 1;) {
    if (c == '\n') {
      return strLine;
    }
    strLine += c;
  }
  throw std::runtime_error("the run has ended, and wrote no line");
}

void HeldRun::tell() const {
  if (write(m_in.writer.get(), "\n", 1) != 1) {
    throw std::runtime_error("the run has ended, and reads no line");
  }
}

int HeldRun::waitEnd() {
  int iStatus = 0;
  if (waitpid(m_pid, &iStatus, 0) != m_pid) {
    throw std::runtime_error("the run is no child");
  }
  m_blEnded = true;
  return asShellTells(iStatus);
}

}  // namespace HostTest
