/// Running an event or a task, from the request to the result.

#include "common/executions/start_execution.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/answers/run_answers.h"
#include "common/executions/detached_start.h"
#include "common/executions/execution_watch.h"
#include "common/executions/progress.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/control_group.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "stored.h"
#include "support/processes.h"

using namespace Host;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

class StartExecution : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
    HostTest::addTask(session, "a", "exit 0");
    HostTest::addTask(session, "b", "exit 1", objectOf({{"depend_on_task", "[a]"}}));
    m_request.strName = "bootup";
  }

  void TearDown() override { OrvaTest::endChildren(); }

  /// Waits until the newest run has been closed. \return its record.
  static Json::Value waitForRun() {
    for (;;) {
      Session session;
      const Json::Value jRuns = listRuns(session, "stop_time is not null", 1);
      if (!jRuns.empty()) {
        return jRuns[0];
      }
      usleep(1000);
    }
  }

  ExecutionRequest m_request;
};

constexpr int exited(int iResult) {
  return iResult << 8;
}

}  // namespace

TEST_F(StartExecution, RunsATaskAndTellsHowItWent) {
  m_request.blByEvent = false;
  m_request.strName = "b";
  const PreparedExecution prepared(m_request);
  EXPECT_EQ(prepared.tasks().size(), 2U);
  Progress progress(prepared.plan());
  EXPECT_EQ(progress.notStarted(), std::vector<std::string>{"b"});
  Execution execution = prepared.start();
  const int iStatus = followExecution(execution, nullptr,
                                      {[&] {
                                         Session session;
                                         progress.poll(session, [&] { return execution.children(); });
                                       },
                                       [](const std::string& strLines) { ADD_FAILURE() << strLines; }});
  EXPECT_EQ(endOf(iStatus), ExecutionEnd::DONE);
  const Json::Value jAnswer = executionForPrograms(m_request, progress, {});
  EXPECT_EQ(textOf(jAnswer, "task"), "b");
  ASSERT_EQ(jAnswer["runs"].size(), 1U);
  EXPECT_EQ(textOf(jAnswer["runs"][0], "outcome"), "failed");
  EXPECT_EQ(textOf(jAnswer["runs"][0], "owner_name"), "root");
  EXPECT_EQ(intOf(progress.runs().at(1), "shell_status"), 1 << 8);
  EXPECT_EQ(progress.runs().at(1).isMember("cpu_usec"), ControlGroup::own().has_value());
  EXPECT_TRUE(jAnswer["not_started"].empty());
  EXPECT_EQ(progress.failedRuns().size(), 1U);
}

TEST_F(StartExecution, RefusesUnknownEventsAndTasks) {
  m_request.strName = "no-such-event";
  EXPECT_THROW(checkRequest(m_request, false), Failure);
  m_request.strName = "bootup";
  EXPECT_NO_THROW(checkRequest(m_request, false));
  m_request.blByEvent = false;
  EXPECT_THROW(checkRequest(m_request, false), Failure);
  EXPECT_THROW(PreparedExecution{m_request}, Failure);
}

TEST_F(StartExecution, ARefusalTellsWhichRunsWereClosed) {
  {
    const Session session;
    HostTest::addRun(session, "a", 2147483647);
  }
  m_request.blByEvent = false;
  m_request.strName = "missing";
  EXPECT_THAT([&] { PreparedExecution{m_request}; },
              ThrowsMessage<Failure>(HasSubstr("run 1 was interrupted, and is closed now")));
}

TEST_F(StartExecution, InTheBackgroundGoesOnByItself) {
  m_request.blByEvent = false;
  m_request.strName = "a";
  const DetachedStart start = startDetached(m_request, [](const PreparedExecution&) {});
  EXPECT_GT(start.pid, 0);
  EXPECT_EQ(start.strUnit, "");
  EXPECT_EQ(textOf(waitForRun(), "task_name"), "a");
}

TEST_F(StartExecution, InTheBackgroundTellsWhyNothingWasStarted) {
  m_request.strName = "shutdown";
  EXPECT_EQ(startDetached(m_request, [](const PreparedExecution&) {}).pid, 0);
  m_request.blByEvent = false;
  EXPECT_THAT([&] { startDetached(m_request, [](const PreparedExecution&) {}); },
              ThrowsMessage<Failure>(HasSubstr("there is no task \"shutdown\"")));
}

TEST(ExecutionEnd, IsReadFromTheStatus) {
  EXPECT_EQ(endOf(exited(0)), ExecutionEnd::DONE);
  EXPECT_EQ(endOf(exited(RESULT_ENDED)), ExecutionEnd::ENDED);
  EXPECT_EQ(endOf(exited(RESULT_BUDGET)), ExecutionEnd::BUDGET);
  EXPECT_THAT([] { endOf(exited(1)); }, ThrowsMessage<Failure>(HasSubstr("system log")));
  EXPECT_THAT([] { endOf(SIGKILL); }, ThrowsMessage<Failure>(HasSubstr("SIGKILL")));
}

TEST_F(StartExecution, SecondRunIsRefusedWhileTheFirstGoesOn) {
  Session session;
  // This process stands for that of a run.
  HostTest::addRun(session, "a", getpid());
  EXPECT_THAT([&] { refuseSecondRun(session, "a"); }, ThrowsMessage<Failure>(HasSubstr("is running already")));
  m_request.blByEvent = false;
  m_request.strName = "a";
  EXPECT_NO_THROW(checkRequest(m_request, false));
  EXPECT_THROW(checkRequest(m_request, true), Failure);
}
