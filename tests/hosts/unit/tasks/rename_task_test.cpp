/// A rename that is interrupted at any moment: the output of the task is under its name, or the check finds it.

#include "common/tasks/rename_task.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"

#include "common/answers/finding_text.h"
#include "common/health/installation_health.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/tasks/unfinished_rename.h"
#include "fresh_host.h"
#include "pauses.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using testing::HasSubstr;

namespace {

/// The signal that this process gets at a moment; 0 for none.
int g_iSignalAfterMove = 0;
int g_iSignalWhileWaiting = 0;

void endHere(int iSignal) {
  if (iSignal != 0) {
    kill(getpid(), iSignal);
  }
}

}  // namespace

extern "C" int renameat(int fdOld, const char* szOld, int fdNew, const char* szNew) noexcept {
  const auto iResult = static_cast<int>(syscall(SYS_renameat2, fdOld, szOld, fdNew, szNew, 0));
  endHere(g_iSignalAfterMove);
  return iResult;
}

namespace {

class ChangeOfName : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    HostTest::insteadOfPausing([] {
      endHere(g_iSignalWhileWaiting);
      return false;
    });
    std::filesystem::remove_all("/srv/kept");
    std::filesystem::create_directories("/srv/kept/it/1000");
    std::filesystem::create_directories("/etc/orva");
    OrvaTest::writeFile("/etc/orva/shares.conf", "[kept]\npath = /srv/kept\n");
    OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": "kept"}})");
    OrvaTest::writeFile("/srv/kept/it/1000/output.log", "printed\n");
    Session session(Session::Store::CREATE);
    addTask(session, "it");
    addRun(session, "it", 1000);
  }

  void TearDown() override {
    HostTest::insteadOfPausing(nullptr);
    OrvaTest::endChildren();
    std::filesystem::remove_all("/srv/kept");
    std::filesystem::remove("/etc/orva/shares.conf");
  }

  static void addTask(Session& session, const std::string& strTask) {
    Json::Value jTask(Json::objectValue);
    Json::Value jCreated;
    jTask["task_name"] = strTask;
    jTask["event"] = "bootup";
    jTask["owner"] = 0;
    jTask["depend_on_task"] = "";
    ASSERT_EQ(session.tasks()->recCreate(jTask, jCreated), 0);
  }

  static void addRun(Session& session, const std::string& strTask, int iStart) {
    Json::Value jRun(Json::objectValue);
    Json::Value jCreated;
    jRun["task_name"] = strTask;
    jRun["start_time"] = iStart;
    jRun["stop_time"] = iStart + 1;
    ASSERT_EQ(session.runs()->recCreate(jRun, jCreated), 0);
  }

  /// The tasks and their folders, as "it /it".
  static std::string state() {
    std::string strState;
    Session session;
    for (const Json::Value& jTask : listTasks(session)) {
      strState += jTask["task_name"].asString() + " ";
    }
    for (const auto& entry : std::filesystem::directory_iterator("/srv/kept")) {
      strState += "/" + entry.path().filename().string();
    }
    return strState;
  }
};

/// Does something in a process of its own. \return how that ended.
int statusOf(const std::function<void()>& fnDo) {
  const pid_t pid = fork();
  if (pid == 0) {
    try {
      fnDo();
    } catch (const Failure& error) {
      std::fprintf(stderr, "%s\n", error.what());
      _exit(1);
    }
    _exit(0);
  }
  int iStatus = 0;
  waitpid(pid, &iStatus, 0);
  return iStatus;
}

/// Holds the store's write lock in another process until it is destroyed.
class OtherWriter {
public:
  OtherWriter() {
    int fds[2] = {-1, -1};
    if (pipe(fds) != 0) {
      throw std::runtime_error("pipe");
    }
    m_pid = fork();
    if (m_pid == 0) {
      Session session;
      const WriteLock lock(session);
      [[maybe_unused]] const ssize_t cbWritten = write(fds[1], "x", 1);
      pause();
      _exit(0);
    }
    char c = 0;
    [[maybe_unused]] const ssize_t cbRead = read(fds[0], &c, 1);
    close(fds[0]);
    close(fds[1]);
  }
  ~OtherWriter() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  OtherWriter(const OtherWriter&) = delete;
  OtherWriter& operator=(const OtherWriter&) = delete;

private:
  pid_t m_pid = -1;
};

void renameAndEnd(int& iWhen, int iSignal) {
  iWhen = iSignal;
  renameTask("it", "other");
  iWhen = 0;
}

}  // namespace

TEST_F(ChangeOfName, TakesTheFolderAlong) {
  ASSERT_EQ(statusOf([] { renameTask("it", "other"); }), 0);
  EXPECT_EQ(state(), "other /other");
}

TEST_F(ChangeOfName, IsCheckedBeforeAnythingIsChanged) {
  {
    Session session;
    addTask(session, "next");
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = "next";
    jTask["depend_on_task"] = "[it]";
    ASSERT_EQ(recUpdate(session.tasks(), jTask, session.db()), 0);
  }
  EXPECT_THAT(checkRename("it", "other"), testing::ElementsAre("next"));
  EXPECT_THAT(checkDelete("it"), testing::ElementsAre("next"));
  for (const char* const szNew : {"it", "next", "../up", ""}) {
    EXPECT_THROW(checkRename("it", szNew), Failure) << szNew;
    EXPECT_THROW(renameTask("it", szNew), Failure) << szNew;
  }
  EXPECT_THROW(checkRename("ghost", "other"), Failure);
  EXPECT_THROW(checkDelete("ghost"), Failure);
  EXPECT_EQ(state(), "it next /it");
}

TEST_F(ChangeOfName, ADeletedTaskLeavesItsFolderAside) {
  EXPECT_EQ(deleteTask("it"), "is kept in /srv/kept/it~1");
  EXPECT_EQ(state(), "/it~1");
}

TEST_F(ChangeOfName, KilledWhileItWaitsForTheStoreHasChangedNothing) {
  {
    const OtherWriter writer;
    const int iStatus = statusOf([] { renameAndEnd(g_iSignalWhileWaiting, SIGKILL); });
    EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGKILL);
  }
  EXPECT_EQ(state(), "it /it");
}

TEST_F(ChangeOfName, EndedBetweenItsHalvesDoesTheSecondFirst) {
  for (const int iSignal : {SIGTERM, SIGINT, SIGHUP}) {
    SetUp();
    const int iStatus = statusOf([&] { renameAndEnd(g_iSignalAfterMove, iSignal); });
    EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == iSignal);
    EXPECT_EQ(state(), "other /other");
  }
}

TEST_F(ChangeOfName, KilledBetweenItsHalvesIsFoundAndMended) {
  const int iStatus = statusOf([] { renameAndEnd(g_iSignalAfterMove, SIGKILL); });
  ASSERT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGKILL);
  ASSERT_EQ(state(), "it /other");
  Session session;
  HealthFindings findings;
  checkUnfinishedRenames(session, findings);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].strSubject, "it");
  EXPECT_THAT(findingText(findings[0]), HasSubstr("output of \"it\" is in /srv/kept/other"));
  EXPECT_EQ(findingAdvice(findings[0]), "eorva check --repair");
  EXPECT_EQ(finishRenames(session).size(), 1U);
  EXPECT_EQ(state(), "it /it");
  EXPECT_EQ(OrvaTest::readFile("/srv/kept/it/1000/output.log"), "printed\n");
  EXPECT_TRUE(findUnfinishedRenames(session).empty());
}

TEST_F(ChangeOfName, OutputThatCannotGoBackByItselfIsNamedWithACommand) {
  std::filesystem::rename("/srv/kept/it", "/srv/kept/other");
  std::filesystem::create_directories("/srv/kept/it/2000");
  Session session;
  addRun(session, "it", 2000);
  EXPECT_TRUE(finishRenames(session).empty());
  HealthFindings findings;
  checkUnfinishedRenames(session, findings);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findingAdvice(findings[0]), "mv --no-clobber /srv/kept/other/* /srv/kept/it/");
}

TEST_F(ChangeOfName, FoldersThatMayBeSomethingElseAreLeftAlone) {
  Session session;
  addTask(session, "twin");
  addRun(session, "twin", 1000);
  // A second folder for the same start time, a folder moved aside, unknown folders, and one of two.
  std::filesystem::create_directories("/srv/kept/copy/1000");
  std::filesystem::create_directories("/srv/kept/twin/1000");
  std::filesystem::create_directories("/srv/kept/it~1/1000");
  std::filesystem::create_directories("/srv/kept/unknown/3000");
  EXPECT_TRUE(findUnfinishedRenames(session).empty());
  std::filesystem::remove_all("/srv/kept/it");
  std::filesystem::remove_all("/srv/kept/twin");
  EXPECT_TRUE(findUnfinishedRenames(session).empty()) << "it and twin both ran then";
  std::filesystem::create_directories("/srv/kept/twin/1000");
  ASSERT_EQ(findUnfinishedRenames(session).size(), 1U);
  ASSERT_EQ(chown("/srv/kept/copy", 7, 7), 0);
  EXPECT_TRUE(findUnfinishedRenames(session).empty()) << "not the owner's";
}
