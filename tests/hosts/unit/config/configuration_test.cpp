/// Concurrent and interrupted changes of the configuration and of a server's state.

#include "common/config/configuration.h"

#include <csignal>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/config/settings.h"
#include "common/state/state_change.h"
#include "common/state/state_document.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

class Configuration : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    OrvaTest::writeFile(SETTINGS_PATH, "retention_runs=1\nstop_grace=1\n");
    OrvaTest::writeFile(CONFIG_PATH, "{}");
    const Session session(Session::Store::CREATE);
  }
};

/// Runs something in a process of its own. \return its status.
template <typename What>
pid_t start(const What& what) {
  const pid_t pid = fork();
  if (pid == 0) {
    try {
      what();
    } catch (...) {
      _exit(1);
    }
    _exit(0);
  }
  return pid;
}

int statusOf(pid_t pid) {
  int iStatus = -1;
  waitpid(pid, &iStatus, 0);
  return iStatus;
}

constexpr int CHANGES = 200;

/// Sets one setting again and again, each time to one more than it was.
void countUp(const std::string& strKey) {
  for (int i = 0; i < CHANGES; ++i) {
    const ConfigLock lock;
    setConfig(lock, {{strKey, std::to_string(std::stoi(configText(strKey)) + 1)}});
  }
}

Json::Value taskOf(const std::string& strScript) {
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = "it";
  jTask["event"] = "daily";
  jTask["owner"]["0"] = "root";
  jTask["enable"] = true;
  jTask["depend_on_task"] = "";
  jTask["operation_type"] = "script";
  jTask["operation"] = strScript;
  jTask["run_the_same_time"] = false;
  jTask["notify_enable"] = false;
  jTask["notify_if_error"] = false;
  jTask["notify_mail"] = "";
  jTask["time_limit"] = 60;
  return jTask;
}

}  // namespace

TEST_F(Configuration, DurationsHaveUnits) {
  EXPECT_EQ(currentSettings().cShutdownBudget, 300U) << "the default";
  OrvaTest::writeFile(SETTINGS_PATH, "stop_grace=1m\nshutdown_budget=90\n");
  EXPECT_EQ(graceSetting(), std::chrono::minutes(1));
  EXPECT_EQ(currentSettings().cShutdownBudget, 90U);
}

TEST_F(Configuration, TwoChangesOfDifferentSettingsAreBothKept) {
  pid_t pidFirst = -1;
  pid_t pidSecond = -1;
  {
    // Both begin when it is let go.
    const ConfigLock lock;
    pidFirst = start([] { countUp("retention_runs"); });
    pidSecond = start([] { countUp("stop_grace"); });
  }
  EXPECT_EQ(statusOf(pidFirst), 0);
  EXPECT_EQ(statusOf(pidSecond), 0);
  EXPECT_EQ(configText("retention_runs"), std::to_string(1 + CHANGES));
  EXPECT_EQ(configText("stop_grace"), std::to_string(1 + CHANGES));
}

TEST_F(Configuration, WhileItIsBeingChangedNobodyElseChangesIt) {
  const ConfigLock lock;
  EXPECT_THROW(const ConfigLock second(std::chrono::milliseconds(0)), Failure);
}

TEST_F(Configuration, ASignalBetweenTheConfigurationAndTheTasksWaitsUntilBothAreChanged) {
  StateDocument before;
  before.mapTasks["it"] = taskOf("echo 1");
  before.config["retention_runs"] = "5";
  {
    Session session;
    changeState(session, currentState(session), before, false);
  }
  const int iStatus = statusOf(start([] {
    Session session;
    const StateDocument now = currentState(session);
    StateDocument after = now;
    after.mapTasks["it"]["operation"] = "echo 2";
    after.config["retention_runs"] = "77";
    const auto endThis = [](void*) {
      // The files of the configuration have been written by now, and the tasks have not.
      kill(getpid(), SIGTERM);
      return 0;
    };
    sqlite3_commit_hook(session.db(), endThis, nullptr);
    changeState(session, now, after, false);
  }));
  EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGTERM);
  Session session;
  const StateDocument now = currentState(session);
  EXPECT_EQ(now.config.at("retention_runs"), "77");
  EXPECT_EQ(now.mapTasks.at("it")["operation"].asString(), "echo 2");
}
