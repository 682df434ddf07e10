/// The processes and executions that keep a run open, and how it is closed without them.

#include "common/runs/reconcile.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <memory>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "common/coordination/execution_file.h"
#include "common/runs/run_identity.h"
#include "common/runs/running_list.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "held_run.h"
#include "stored.h"
#include "support/processes.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char OTHER_BOOT[] = "11111111-2222-3333-4444-555555555555";

class Reconcile : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_pSession = std::make_unique<Session>(Session::Store::CREATE);
    HostTest::addTask(*m_pSession, "a");
    HostTest::addTask(*m_pSession, "b");
  }

  void TearDown() override { OrvaTest::endChildren(); }

  /// A process that lives until the test ends it.
  static pid_t forkProcess() {
    const pid_t pidParent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
      HostTest::endWith(pidParent);
      for (;;) {
        pause();
      }
    }
    return pid;
  }

  static pid_t forkZombie() {
    const pid_t pid = fork();
    if (pid == 0) {
      _exit(0);
    }
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    return pid;
  }

  static pid_t endedPid() {
    const pid_t pid = forkZombie();
    waitpid(pid, nullptr, 0);
    return pid;
  }

  /// An open run of a task, on its running list. \return its number.
  Json::Int64 addRun(const char* szTask, pid_t pid, const Json::Value& jMore = Json::Value()) {
    Json::Value jTask = requireTask(*m_pSession, szTask);
    jTask["status"]["running"].append(pid);
    EXPECT_EQ(m_pSession->tasks()->recUpdateByFilter(objectOf({{"task_name", szTask}}), jTask), 1);
    return HostTest::addRun(*m_pSession, szTask, pid, jMore);
  }

  static Json::Value identity(pid_t pid) { return identityOf(processStatus(pid).value()); }

  /// The identity of a process that had this number before.
  static Json::Value otherIdentity(pid_t pid) {
    Json::Value jIdentity = identity(pid);
    jIdentity["start_ticks"] = jIdentity["start_ticks"].asInt64() - 1;
    return jIdentity;
  }

  Json::Value run(Json::Int64 iRun) { return requireRun(*m_pSession, iRun); }

  /// Checks that the process with the number of the only open run does not keep its task from starting.
  void expectGone(Json::Int64 iRun) {
    EXPECT_FALSE(isRunAlive(run(iRun)));
    EXPECT_THAT(livePidsOf(*m_pSession, "a"), IsEmpty());
    EXPECT_THAT(closed(), ElementsAre(iRun));
    EXPECT_EQ(textOf(run(iRun)["exit_info"], "exit_type"), "interrupted");
    EXPECT_THAT(listed("a"), IsEmpty());
  }

  void expectLeftAlone(Json::Int64 iRun, pid_t pid) {
    EXPECT_TRUE(isRunAlive(run(iRun)));
    EXPECT_THAT(closed(), IsEmpty());
    EXPECT_THAT(listed("a"), ElementsAre(pid));
    EXPECT_THAT(livePidsOf(*m_pSession, "a"), ElementsAre(pid));
  }

  /// The numbers of the runs that are closed now.
  std::vector<Json::Int64> closed() {
    std::vector<Json::Int64> vecClosed;
    for (const Json::Value& jRun : reconcile(*m_pSession)) {
      vecClosed.push_back(intOf(jRun, "result_id"));
    }
    return vecClosed;
  }

  std::vector<pid_t> listed(const char* szTask) {
    std::vector<pid_t> vecPids;
    const Json::Value jTask = requireTask(*m_pSession, szTask);
    for (const Json::Value& jPid : jTask["status"]["running"]) {
      vecPids.push_back(jPid.asInt());
    }
    return vecPids;
  }

  std::unique_ptr<Session> m_pSession;
};

/// The file of a living execution that has noted a run.
class Execution : public ExecutionFile {
public:
  explicit Execution(pid_t pid, Json::Int64 iLastRun = 0) : ExecutionFile(iLastRun, Json::Int64{0}) {
    noteRun(pid, std::chrono::seconds(0));
  }
};

}  // namespace

TEST_F(Reconcile, RunOfAnotherProgramIsLeftAlone) {
  const pid_t pid = forkProcess();
  expectLeftAlone(addRun("a", pid), pid);
}

TEST_F(Reconcile, EndedRunOfAnotherProgramIsLeftToTheParentThatHasNotLookedAfterItYet) {
  const pid_t pid = forkZombie();
  expectLeftAlone(addRun("a", pid), pid);
}

TEST_F(Reconcile, EndedRunOfOurOwnIsClosedAlthoughNobodyHasLookedAfterItsProcess) {
  const pid_t pid = forkZombie();
  expectGone(addRun("a", pid, identity(pid)));
}

TEST_F(Reconcile, RunOfALaterExecutionWithItsNumberIsNotTheOldRun) {
  const pid_t pid = forkProcess();
  const Json::Int64 iOld = addRun("a", pid, otherIdentity(pid));
  const Execution later(pid, iOld);
  EXPECT_FALSE(isRunAlive(run(iOld)));
  EXPECT_THAT(closed(), ElementsAre(iOld));
}

TEST_F(Reconcile, RunThatItsExecutionWillCloseIsLeftToItAlthoughItsProcessIsGone) {
  const pid_t pid = endedPid();
  Execution execution(pid);
  const Json::Int64 iRun = addRun("a", pid);
  expectLeftAlone(iRun, pid);
  execution.remove();
  EXPECT_THAT(closed(), ElementsAre(iRun));
}

TEST_F(Reconcile, NumberThatANewerRunOfAnotherTaskHasGotBlocksTheOldTaskNoMore) {
  const pid_t pid = forkProcess();
  const Json::Int64 iOld = addRun("a", pid);
  addRun("b", pid);
  EXPECT_THAT(closed(), ElementsAre(iOld));
  EXPECT_THAT(listed("a"), IsEmpty());
  EXPECT_THAT(listed("b"), ElementsAre(pid));
}

TEST_F(Reconcile, RunOfAnotherBootIsClosedWhateverHasItsNumber) {
  const pid_t pid = forkProcess();
  Json::Value jIdentity = identity(pid);
  jIdentity["boot_id"] = OTHER_BOOT;
  expectGone(addRun("a", pid, jIdentity));
}

TEST_F(Reconcile, RunOfAnotherBootIsNotLeftToAnExecutionThatHasItsNumber) {
  const pid_t pid = forkProcess();
  Json::Value jIdentity = identity(pid);
  jIdentity["boot_id"] = OTHER_BOOT;
  const Json::Int64 iRun = addRun("a", pid, jIdentity);
  const Execution execution(pid);
  EXPECT_FALSE(isRunAlive(run(iRun)));
  EXPECT_THAT(closed(), ElementsAre(iRun));
}

TEST_F(Reconcile, RunWhoseProcessStartedAtAnotherMomentIsClosed) {
  const pid_t pid = forkProcess();
  expectGone(addRun("a", pid, otherIdentity(pid)));
}

TEST_F(Reconcile, RunWhoseProcessIsTheOneOfTheRecordIsLeftAlone) {
  const pid_t pid = forkProcess();
  Json::Value jMore = identity(pid);
  // The clock was set far ahead meanwhile, which does not matter.
  jMore["start_time"] = 1;
  expectLeftAlone(addRun("a", pid, jMore), pid);
}

TEST_F(Reconcile, ProcessThatStartedLongAfterTheRunIsNoneOfIts) {
  const Json::Int64 iHour = 3600;
  expectGone(addRun("a", forkProcess(), objectOf({{"start_time", std::time(nullptr) - iHour}})));
}

TEST_F(Reconcile, ProcessThatStartedSomeSecondsAfterTheRunIsLeftAlone) {
  const pid_t pid = forkProcess();
  expectLeftAlone(addRun("a", pid, objectOf({{"start_time", static_cast<Json::Int64>(std::time(nullptr)) - 10}})), pid);
}

TEST_F(Reconcile, ClockMeansNothingToARunWhoseExecutionIsAlive) {
  const pid_t pid = forkProcess();
  const Json::Int64 iRun = addRun("a", pid, objectOf({{"start_time", 1}}));
  const Execution execution(pid);
  expectLeftAlone(iRun, pid);
}

TEST_F(Reconcile, ListedProcessOfARunThatIsClosedAlreadyBlocksTheTaskNoMore) {
  const pid_t pid = forkProcess();
  Json::Value jMore = otherIdentity(pid);
  jMore["stop_time"] = 2;
  addRun("a", pid, jMore);
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_THAT(listed("a"), IsEmpty());
}
