/// The folders of runs are safe even if the place changes between the check and the start.

#include <ctime>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <unistd.h>

#include "common/executions/execution.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "stored.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

constexpr std::chrono::seconds LONG(50);  // until a test has failed
constexpr char PLACE[] = "/srv/kept_folders";

/// Called between reading the ready tasks and starting them.
std::function<void()> g_fnBeforeStart;

}  // namespace

// Replaces the function for the library.
extern "C" __attribute__((visibility("default"))) unsigned sleep(unsigned cSeconds) {
  if (g_fnBeforeStart) {
    g_fnBeforeStart();
  }
  const timespec pause{static_cast<time_t>(cSeconds), 0};
  nanosleep(&pause, nullptr);
  return 0;
}

namespace {

class ExecutionFolders : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::remove_all(PLACE);
    std::filesystem::create_directories(PLACE);
    std::filesystem::create_directories("/etc/orva");
    OrvaTest::writeFile("/etc/orva/shares.conf", std::string("[kept]\npath = ") + PLACE + "\n");
    configure("kept");
    const Session session(Session::Store::CREATE);
    m_request.blByEvent = true;
    m_request.strName = "bootup";
  }

  void TearDown() override {
    g_fnBeforeStart = nullptr;
    OrvaTest::endChildren();
    std::filesystem::remove_all(PLACE);
    std::filesystem::remove("/etc/orva/shares.conf");
  }

  static void configure(const std::string& strOutput) {
    OrvaTest::writeFile(CONFIG_PATH,
                        R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": ")" + strOutput + R"("}})");
  }

  static void addTask(const std::string& strTask, const std::string& strDepend) {
    HostTest::addTask(Session(), strTask, "exit 0", objectOf({{"depend_on_task", strDepend}}));
  }

  ExecutionPlan prepare() {
    Session session;
    return prepareExecution(session, m_request, m_lock);
  }

  void runToTheEnd(const ExecutionPlan& plan) {
    Execution execution(m_request, plan, m_lock);
    EXPECT_TRUE(execution.waitEnd(LONG));
  }

  /// The tasks that were started, in the order of their starts.
  static std::string started() {
    std::string strTasks;
    Session session;
    for (const Json::Value& jRun : listRuns(session, "1")) {
      strTasks += textOf(jRun, "task_name") + " ";
    }
    return strTasks;
  }

  ExecutionRequest m_request;
  TaskLock m_lock;
};

}  // namespace

TEST_F(ExecutionFolders, OneThatGoesAwayAtTheLastMomentIsNotMadeOpenAndNothingRunsFromIt) {
  const std::filesystem::path folder = std::filesystem::path(PLACE) / "b";
  addTask("a", "");
  addTask("b", "[a]");
  const ExecutionPlan plan = prepare();
  ASSERT_TRUE(std::filesystem::exists(folder));
  g_fnBeforeStart = [&] { std::filesystem::remove_all(folder); };
  runToTheEnd(plan);
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_EQ(started(), "a ");
}

TEST_F(ExecutionFolders, APlaceThatIsConfiguredAfterThePreparationIsPreparedToo) {
  addTask("a", "");
  const ExecutionPlan plan = prepare();
  configure("kept/new");
  runToTheEnd(plan);
  EXPECT_EQ(started(), "a ");
  EXPECT_EQ(OrvaTest::fileMode(std::string(PLACE) + "/new/a"), 0700U);
  EXPECT_EQ(OrvaTest::fileMode(std::string(PLACE) + "/new"), 0711U);
}
