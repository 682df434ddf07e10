/// The processes that keep a run open. Forks of this process act as runs, since they have the library loaded.

#include "common/runs/reconcile.h"

#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/coordination/execution_file.h"
#include "common/executions/run_child.h"
#include "common/runs/run_identity.h"
#include "common/runs/run_process.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::string nameOf(pid_t pid) {
  const std::optional<ProcessStatus> status = processStatus(pid);
  return status ? status->strName : std::string();
}

class Reconcile : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_pSession = std::make_unique<Session>(Session::Store::CREATE);
    addTask("a");
    addTask("b");
  }

  void TearDown() override { OrvaTest::endChildren(); }

  /// Forks a process that lives until the test ends it.
  /// \param fnFirst  its first step, which is done when this returns.
  static pid_t forkProcess(const std::function<void()>& fnFirst) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0) {
      throw std::runtime_error("pipe");
    }
    const pid_t pid = fork();
    if (pid == 0) {
      fnFirst();
      close(ends[0]);
      close(ends[1]);
      for (;;) {
        pause();
      }
    }
    close(ends[1]);
    char c = 0;
    [[maybe_unused]] const ssize_t cb = read(ends[0], &c, 1);
    close(ends[0]);
    return pid;
  }

  /// A zombie.
  static pid_t forkEnded(const std::function<void()>& fnFirst) {
    const pid_t pid = forkProcess([&] {
      fnFirst();
      _exit(0);
    });
    siginfo_t info{};
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    return pid;
  }

  void addTask(const char* szTask) {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = szTask;
    jTask["event"] = "bootup";
    jTask["owner"] = 0;
    jTask["operation"] = "true";
    jTask["operation_type"] = "script";
    Json::Value jOut;
    ASSERT_EQ(m_pSession->tasks()->recCreate(jTask, jOut), 0);
  }

  /// An open run of a task, on its running list. \return its number.
  Json::Int64 addRun(const char* szTask, pid_t pid) {
    Json::Value jRun(Json::objectValue);
    jRun["task_name"] = szTask;
    jRun["start_time"] = static_cast<Json::Int64>(std::time(nullptr));
    jRun["pid"] = pid;
    jRun["exit_info"] = Json::Value(Json::objectValue);
    Json::Value jOut;
    EXPECT_EQ(m_pSession->runs()->recCreate(jRun, jOut), 0);
    Json::Value jTask = requireTask(*m_pSession, szTask);
    jTask["status"]["running"].append(pid);
    Json::Value jFilter(Json::objectValue);
    jFilter["task_name"] = szTask;
    EXPECT_EQ(m_pSession->tasks()->recUpdateByFilter(jFilter, jTask), 1);
    return intOf(jOut, "result_id");
  }

  /// Changes a run's record.
  void changeRun(Json::Int64 iRun, const Json::Value& jUpdate) {
    Json::Value jFilter(Json::objectValue);
    jFilter["result_id"] = iRun;
    ASSERT_EQ(m_pSession->runs()->recUpdateByFilter(jFilter, jUpdate), 1);
  }

  /// Identifies the process in the record, as the watch of an execution does.
  static Json::Value identity(pid_t pid) {
    const std::optional<ProcessStatus> status = processStatus(pid);
    return status ? identityOf(*status) : Json::Value();
  }

  /// Checks that the process with the id of the only open run does not count as its process, and does not keep the task
  /// from starting.
  void expectGone(Json::Int64 iRun) {
    EXPECT_FALSE(isRunAlive(requireRun(*m_pSession, iRun)));
    EXPECT_FALSE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
    EXPECT_THAT(livePidsOf(*m_pSession, "a"), IsEmpty());
    EXPECT_THAT(closed(), ElementsAre(iRun));
    EXPECT_THAT(listed("a"), IsEmpty());
  }

  void expectLeftAlone(Json::Int64 iRun, pid_t pid) {
    EXPECT_TRUE(isRunAlive(requireRun(*m_pSession, iRun)));
    EXPECT_TRUE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
    EXPECT_THAT(closed(), IsEmpty());
    EXPECT_THAT(listed("a"), ElementsAre(pid));
    EXPECT_THAT(livePidsOf(*m_pSession, "a"), ElementsAre(pid));
  }

  /// Starts a program that has a file loaded like a library.
  static pid_t startWith(const std::string& strFile) {
    const OrvaTest::TempDir folder;
    const std::string strReady = folder.path("ready");
    const std::string strScript = fmt::format(
        "import mmap, time\n"
        "file = open('{}', 'rb')\n"
        "loaded = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)\n"
        "open('{}', 'w').close()\n"
        "time.sleep(300)\n",
        strFile, strReady);
    const pid_t pid = forkProcess([&] { execlp("python3", "eorva-run", "-c", strScript.c_str(), nullptr); });
    while (access(strReady.c_str(), F_OK) != 0 && waitpid(pid, nullptr, WNOHANG) == 0) {
      usleep(1000);
    }
    return pid;
  }

  /// Starts a program that has a deleted file of the library's folder loaded.
  static pid_t startWithFormerLibrary(uid_t owner) {
    const std::string strFile = fmt::format("{}/libeorvascheduler.so.6.{}", libraryFolder(), getpid());
    OrvaTest::writeFile(strFile, "x");
    [[maybe_unused]] const int iChanged = chown(strFile.c_str(), owner, static_cast<gid_t>(-1));
    const pid_t pid = startWith(strFile);
    unlink(strFile.c_str());
    return pid;
  }

  static std::string libraryFolder() {
    std::istringstream maps(OrvaTest::readFile("/proc/self/maps"));
    for (std::string strLine; std::getline(maps, strLine);) {
      if (const std::size_t iName = strLine.find("/libeorvascheduler.so."); iName != std::string::npos) {
        return strLine.substr(0, iName).substr(strLine.find('/'));
      }
    }
    throw std::runtime_error("the library is not loaded");
  }

  static uid_t ownerOf(const std::string& strPath) {
    struct stat info{};
    return stat(strPath.c_str(), &info) == 0 ? info.st_uid : static_cast<uid_t>(-1);
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

}  // namespace

TEST_F(Reconcile, ProcessOfOurOwnThatIsNoRunKeepsNoneOpen) {
  const pid_t pid = forkProcess(&takeHostName);
  const Json::Int64 iRun = addRun("a", pid);
  EXPECT_FALSE(isRunAlive(requireRun(*m_pSession, iRun)));
  EXPECT_FALSE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
  EXPECT_THAT(livePidsOf(*m_pSession, "a"), IsEmpty());
  EXPECT_THAT(closed(), ElementsAre(iRun));
  EXPECT_THAT(listed("a"), IsEmpty());
}

TEST_F(Reconcile, RunThatLostItsExecutionIsLeftAlone) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  EXPECT_TRUE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_THAT(livePidsOf(*m_pSession, "a"), ElementsAre(pid));
}

TEST_F(Reconcile, RunOfAnotherProgramThatHasTheLibraryLoadedIsLeftAlone) {
  const pid_t pid = forkProcess([] {});
  ASSERT_EQ(nameOf(pid), "host_test");
  const Json::Int64 iRun = addRun("a", pid);
  EXPECT_TRUE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_THAT(livePidsOf(*m_pSession, "a"), ElementsAre(pid));
}

TEST_F(Reconcile, ProgramWithoutTheLibraryKeepsNoRunOpen) {
  const pid_t pid = forkProcess([] { execlp("sleep", "eorva-run", "300", nullptr); });
  addRun("a", pid);
  EXPECT_THAT(closed(), ElementsAre(1));
}

TEST_F(Reconcile, EndedRunIsLeftToTheParentThatHasNotLookedAfterItYet) {
  const pid_t pid = forkEnded([] {});
  const Json::Int64 iRun = addRun("a", pid);
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_FALSE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
}

TEST_F(Reconcile, EndedCommandOfOurOwnKeepsNoRunOpen) {
  const pid_t pid = forkEnded(&takeHostName);
  const Json::Int64 iRun = addRun("a", pid);
  EXPECT_THAT(closed(), ElementsAre(iRun));
}

TEST_F(Reconcile, EndedProcessOfAParentThatClosesNoRunsKeepsNoneOpen) {
  // The new program of the parent does not know its child.
  const pid_t pidParent = forkProcess([] {
    const pid_t pidSelf = getpid();
    if (fork() == 0) {
      while (nameOf(pidSelf) != "sleep") {
        usleep(1000);
      }
      _exit(0);
    }
    execlp("sleep", "sleep", "300", nullptr);
  });
  pid_t pid = 0;
  while (pid == 0) {
    const std::map<pid_t, ProcessStatus> mapChildren = ProcessTable().childrenOf(pidParent);
    ASSERT_EQ(mapChildren.size(), 1U);
    pid = mapChildren.begin()->second.isEnded() ? mapChildren.begin()->first : 0;
  }
  addRun("a", pid);
  EXPECT_THAT(closed(), ElementsAre(1));
}

TEST_F(Reconcile, ChildOfAnExecutionIsARunFromItsFirstMoment) {
  const OrvaTest::TempDir folder;
  const std::string strSeen = folder.path("seen");
  const pid_t pid = forkProcess([&] {
    takeHostName();
    const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    // Earlier handlers run first: they see the child before it has done anything.
    static std::string strPath;
    strPath = strSeen;
    pthread_atfork(nullptr, nullptr, [] { OrvaTest::writeFile(strPath, nameOf(getpid())); });
    reportChildrenTo(dup(file.fd()), dup(file.fd()));
    const pid_t pidChild = fork();
    if (pidChild == 0) {
      _exit(0);
    }
    waitpid(pidChild, nullptr, 0);
  });
  EXPECT_EQ(OrvaTest::readFile(strSeen), "eorva-run");
  EXPECT_EQ(nameOf(pid), "eorva");
}

TEST_F(Reconcile, ChildOfAnExecutionThatBeganLaterIsNotTheOldRun) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iOld = addRun("a", pid);
  ExecutionFile later(Json::Int64{iOld}, Json::Int64{0});
  OrvaTest::writeFile(later.path(), fmt::format("after {}\n{}\n", iOld, pid));
  EXPECT_FALSE(isRunAlive(requireRun(*m_pSession, iOld)));
  EXPECT_FALSE(processOf(*m_pSession, requireRun(*m_pSession, iOld)));
  EXPECT_THAT(closed(), ElementsAre(iOld));
}

TEST_F(Reconcile, RunThatItsExecutionWillCloseIsLeftToItAlthoughItsProcessIsGone) {
  const pid_t pid = forkProcess([] { _exit(0); });
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  ExecutionFile file(Json::Int64{0}, Json::Int64{0});
  OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", pid));
  addRun("a", pid);
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_THAT(listed("a"), ElementsAre(pid));
  file.remove();
  EXPECT_THAT(closed(), ElementsAre(1));
}

TEST_F(Reconcile, NumberThatANewerRunOfAnotherTaskHasGotBlocksTheOldTaskNoMore) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iOld = addRun("a", pid);
  addRun("b", pid);
  EXPECT_THAT(closed(), ElementsAre(iOld));
  EXPECT_THAT(listed("a"), IsEmpty());
  EXPECT_THAT(listed("b"), ElementsAre(pid));
}

TEST_F(Reconcile, RunOfAnotherBootIsClosedWhateverHasItsNumber) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jIdentity = identity(pid);
  jIdentity["boot_id"] = "11111111-2222-3333-4444-555555555555";
  changeRun(iRun, jIdentity);
  expectGone(iRun);
}

TEST_F(Reconcile, RunOfAnotherBootIsNotLeftToAnExecutionThatHasItsNumber) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jIdentity = identity(pid);
  jIdentity["boot_id"] = "11111111-2222-3333-4444-555555555555";
  changeRun(iRun, jIdentity);
  const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
  OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", pid));
  EXPECT_FALSE(isRunAlive(requireRun(*m_pSession, iRun)));
  EXPECT_THAT(closed(), ElementsAre(iRun));
}

TEST_F(Reconcile, RunWhoseProcessStartedAtAnotherMomentIsClosed) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jIdentity = identity(pid);
  jIdentity["start_ticks"] = jIdentity["start_ticks"].asInt64() - 1;
  changeRun(iRun, jIdentity);
  expectGone(iRun);
}

TEST_F(Reconcile, RunWhoseProcessIsTheOneOfTheRecordIsLeftAlone) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jUpdate = identity(pid);
  // The clock was set far ahead meanwhile, which does not matter.
  jUpdate["start_time"] = 1;
  changeRun(iRun, jUpdate);
  expectLeftAlone(iRun, pid);
}

TEST_F(Reconcile, EndedRunThatTheRecordTellsIsLeftToItsParent) {
  const pid_t pid = forkEnded(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  changeRun(iRun, identity(pid));
  EXPECT_FALSE(processOf(*m_pSession, requireRun(*m_pSession, iRun)));
  EXPECT_THAT(closed(), IsEmpty());
}

TEST_F(Reconcile, ProcessThatStartedLongAfterTheRunIsNoneOfIts) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jUpdate(Json::objectValue);
  jUpdate["start_time"] = static_cast<Json::Int64>(std::time(nullptr)) - 3600;
  changeRun(iRun, jUpdate);
  expectGone(iRun);
}

TEST_F(Reconcile, ProcessThatStartedSomeSecondsAfterTheRunIsLeftAlone) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jUpdate(Json::objectValue);
  jUpdate["start_time"] = static_cast<Json::Int64>(std::time(nullptr)) - 10;
  changeRun(iRun, jUpdate);
  expectLeftAlone(iRun, pid);
}

TEST_F(Reconcile, ClockMeansNothingToARunWhoseExecutionIsAlive) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jUpdate(Json::objectValue);
  jUpdate["start_time"] = 1;
  changeRun(iRun, jUpdate);
  const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
  OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", pid));
  expectLeftAlone(iRun, pid);
}

TEST_F(Reconcile, ListedProcessOfARunThatIsClosedAlreadyBlocksTheTaskNoMore) {
  const pid_t pid = forkProcess(&takeRunName);
  const Json::Int64 iRun = addRun("a", pid);
  Json::Value jUpdate = identity(pid);
  jUpdate["start_ticks"] = jUpdate["start_ticks"].asInt64() - 1;
  jUpdate["stop_time"] = 2;
  changeRun(iRun, jUpdate);
  EXPECT_THAT(closed(), IsEmpty());
  EXPECT_THAT(listed("a"), IsEmpty());
}

TEST_F(Reconcile, ProcessThatLoadedAFileOfTheLibrarysNameKeepsNoRunOpen) {
  const OrvaTest::TempDir folder;
  OrvaTest::writeFile(folder.path("libeorvascheduler.so.7"), "x");
  expectGone(addRun("a", startWith(folder.path("libeorvascheduler.so.7"))));
}

TEST_F(Reconcile, RunThatHasTheLibraryOfBeforeAnUpgradeLoadedIsLeftAlone) {
  const pid_t pid = startWithFormerLibrary(ownerOf(libraryFolder()));
  expectLeftAlone(addRun("a", pid), pid);
}

TEST_F(Reconcile, LibraryThatAnotherUserOwnsIsNotTheInstalledOne) {
  expectGone(addRun("a", startWithFormerLibrary(ownerOf(libraryFolder()) + 1)));
}
