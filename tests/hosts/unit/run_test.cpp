#include "run_test.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/store/session.h"
#include "common/support/process.h"
#include "fresh_host.h"
#include "support/processes.h"

using namespace Host;

namespace HostTest {

void endWith(pid_t pidParent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != pidParent) {
    _exit(0);
  }
}

void RunTest::SetUp() {
  freshHost();
  ASSERT_EQ(pipe2(m_go, O_CLOEXEC), 0);
  m_pid = fork();
  if (m_pid == 0) {
    beTheRun();
  }
  close(m_go[0]);
  addRun();
}

void RunTest::TearDown() {
  close(m_go[1]);
  OrvaTest::endChildren();
}

void RunTest::beTheScript() {
  for (;;) {
    pause();
  }
}

void RunTest::beTheRun() {
  char c = 0;
  close(m_go[1]);
  if (read(m_go[0], &c, 1) != 1) {
    _exit(0);
  }
  const pid_t pidSelf = getpid();
  const pid_t pidScript = fork();
  if (pidScript == 0) {
    endWith(pidSelf);
    beTheScript();
  }
  waitpid(pidScript, nullptr, 0);
  _exit(0);
}

void RunTest::addRun() const {
  Session session(Session::Store::CREATE);
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = "a";
  jTask["event"] = "bootup";
  jTask["owner"] = 0;
  jTask["operation"] = "true";
  jTask["operation_type"] = "script";
  Json::Value jRun(Json::objectValue);
  jRun["task_name"] = "a";
  jRun["start_time"] = static_cast<Json::Int64>(std::time(nullptr));
  jRun["pid"] = m_pid;
  Json::Value jOut;
  ASSERT_EQ(session.tasks()->recCreate(jTask, jOut), 0);
  ASSERT_EQ(session.runs()->recCreate(jRun, jOut), 0);
}

pid_t RunTest::beginScript() const {
  if (write(m_go[1], "x", 1) != 1) {
    throw std::runtime_error("the run has ended before its script began");
  }
  std::map<pid_t, ProcessStatus> mapChildren;
  while ((mapChildren = ProcessTable().childrenOf(m_pid)).empty()) {
    usleep(1000);
  }
  return mapChildren.begin()->first;
}

}  // namespace HostTest
