/// The reasons why a task did not run are those at the time when its event was fired.

#include "common/reasons/firing.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <unistd.h>

#include "common/answers/reason_text.h"
#include "common/executions/execution_plan.h"
#include "common/reasons/explanation.h"
#include "common/runs/run_identity.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "fresh_host.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr std::time_t FIRED_AT = 1000;

class Firings : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_session.emplace(Session::Store::CREATE);
  }

  Session& session() { return *m_session; }

  void sql(const std::string& strSql) {
    char* szError = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(session().db(), strSql.c_str(), nullptr, nullptr, &szError)) << szError;
  }

  std::string count(const std::string& strTable) {
    std::string strCount;
    sqlite3_exec(
        session().db(), ("select count(*) from " + strTable).c_str(),
        [](void* pCount, int, char** pszValues, char**) {
          *static_cast<std::string*>(pCount) = pszValues[0];
          return 0;
        },
        &strCount, nullptr);
    return strCount;
  }

  void addTask(const std::string& strName, const std::string& strNeeds = "", bool blEnabled = true) {
    sql("insert into task (task_name, event, owner, enable, depend_on_task) values ('" + strName + "', 'ev', 0, " +
        (blEnabled ? "1" : "0") + ", '" + strNeeds + "')");
  }

  void addRun(const std::string& strTask, const std::string& strStop, const std::string& strPid,
              const std::string& strExit = "normal") {
    sql("insert into task_result (task_name, start_time, stop_time, pid, event_fire_time, trigger_event, exit_info) "
        "values ('" +
        strTask + "', 1000, " + strStop + ", " + strPid + ", 1000, 'ev', '{\"exit_type\": \"" + strExit + "\"}')");
  }

  ExecutionPlan fire() {
    ExecutionRequest request;
    request.strName = "ev";
    request.firedAt = FIRED_AT;
    TaskLock lock;
    return prepareExecution(session(), request, lock);
  }

  /// An execution whose children were these.
  void end(const ExecutionPlan& plan, const std::vector<pid_t>& vecChildren, bool blOverBudget = false) {
    ExecutionFile file(plan.iLastRun, plan.iFiring);
    for (const pid_t pid : vecChildren) {
      file.noteRun(pid, std::chrono::seconds(0));
    }
    file.update();
    rememberEnd(session(), plan.iFiring, file.notes(), blOverBudget);
    file.remove();
  }

  std::vector<std::string> why(const std::string& strTask) {
    const Explanation explanation = explainTask(session(), strTask);
    EXPECT_TRUE(explanation.blRemembered) << strTask;
    std::vector<std::string> vecCodes = {verdictWord(explanation.verdict)};
    for (const Reason& reason : explanation.vecReasons) {
      vecCodes.push_back(reason.strCode);
    }
    return vecCodes;
  }

  std::string text(const std::string& strTask) {
    const Explanation explanation = explainTask(session(), strTask);
    return explanation.vecReasons.empty() ? std::string() : reasonText(explanation.vecReasons.front());
  }

private:
  std::optional<Session> m_session;
};

}  // namespace

TEST_F(Firings, EventThatWasNeverFired) {
  addTask("it");
  EXPECT_STREQ("never_fired", verdictWord(explainTask(session(), "it").verdict));
}

TEST_F(Firings, EveryReasonIsThatOfTheFiring) {
  addTask("root");
  addTask("off", "", false);
  addTask("behind", "[off]");
  addTask("further", "[behind]");
  addTask("lonely", "[ghost]");
  addTask("astray", "[elsewhere]");
  addTask("elsewhere");
  sql("update task set event = 'other' where task_name = 'elsewhere'");
  end(fire(), {});
  sql("update task set enable = 1, event = 'ev', depend_on_task = ''");
  EXPECT_THAT(why("off"), ElementsAre("not_started", "disabled"));
  EXPECT_THAT(why("behind"), ElementsAre("not_started", "need_disabled"));
  EXPECT_THAT(why("further"), ElementsAre("not_started", "need_blocked"));
  EXPECT_THAT(why("lonely"), ElementsAre("not_started", "missing"));
  EXPECT_THAT(why("astray"), ElementsAre("not_started", "other_event"));
  EXPECT_THAT(why("elsewhere"), ElementsAre("not_started", "not_there"));
  EXPECT_EQ("did not exist then, or did not belong to the event \"ev\"", text("elsewhere"));
  EXPECT_EQ("was disabled", text("off"));
  EXPECT_EQ("waited for \"ghost\", and there was no such task", text("lonely"));
  EXPECT_EQ("", reasonAdvice("off", explainTask(session(), "off").vecReasons.front())) << "it is enabled by now";
}

TEST_F(Firings, AdviceStaysWhereTheReasonDoes) {
  addTask("off", "", false);
  end(fire(), {});
  EXPECT_EQ("eorva task enable off", reasonAdvice("off", explainTask(session(), "off").vecReasons.front()));
}

TEST_F(Firings, ReasonsThatAnOlderVersionStoredAreStillRead) {
  addTask("off", "", false);
  end(fire(), {});
  sql("update firing_task set reasons = '[{\"code\": \"disabled\", \"text\": \"was switched off\", "
      "\"advice\": \"eorva task enable off\", \"other_task\": null}]'");
  EXPECT_THAT(why("off"), ElementsAre("not_started", "disabled"));
  EXPECT_EQ("was switched off", text("off"));
  EXPECT_EQ("eorva task enable off", reasonAdvice("off", explainTask(session(), "off").vecReasons.front()));
  sql("update firing_task set reasons = '[\"nonsense\", {\"code\": \"of tomorrow\"}]'");
  EXPECT_THAT(why("off"), ElementsAre("not_started", "", "of tomorrow"));
  EXPECT_EQ("", text("off"));
}

TEST_F(Firings, RunThatWasAliveStaysTheReasonAndItsDependantsWereNotStarted) {
  addTask("slow");
  addTask("after", "[slow]");
  const std::string strSelf = std::to_string(getpid());
  addRun("slow", "null", strSelf);
  const Json::Value jIdentity = identityOf(processStatus(getpid()).value());
  sql("update task_result set boot_id = '" + textOf(jIdentity, "boot_id") +
      "', start_ticks = " + std::to_string(intOf(jIdentity, "start_ticks")));
  sql("update task set status = '{\"running\": [" + strSelf + "]}' where task_name = 'slow'");
  const ExecutionPlan plan = fire();
  EXPECT_THAT(why("slow"), ElementsAre("not_started", "refused"));
  end(plan, {});
  sql("update task_result set stop_time = 1");
  sql("update task set status = null");
  EXPECT_THAT(why("slow"), ElementsAre("not_started", "refused"));
  EXPECT_THAT(text("slow"), HasSubstr("its run 1 was still running"));
  EXPECT_THAT(why("after"), ElementsAre("not_started", "need_not_started"));
}

TEST_F(Firings, RunThatWasMetLaterIsTheReason) {
  addTask("first");
  addTask("it", "[first]");
  addRun("it", "5000", "77");
  const ExecutionPlan plan = fire();
  addRun("first", "1001", "4001");
  ExecutionFile file(plan.iLastRun, plan.iFiring);
  file.noteRun(4001, std::chrono::seconds(0));
  file.noteInTheWay(1);
  EXPECT_THAT(why("it"), ElementsAre("not_started", "refused")) << "while it is under way";
  file.update();
  rememberEnd(session(), plan.iFiring, file.notes(), false);
  file.remove();
  EXPECT_THAT(why("first"), ElementsAre("ran"));
  EXPECT_THAT(why("it"), ElementsAre("not_started", "refused"));
}

TEST_F(Firings, TasksThatWereNotReached) {
  addTask("first");
  addTask("second", "[first]");
  const ExecutionPlan plan = fire();
  addRun("first", "1005", "4001", "interrupted");
  end(plan, {4001});
  EXPECT_THAT(why("first"), ElementsAre("ran"));
  EXPECT_THAT(why("second"), ElementsAre("not_started", "need_interrupted"));
  end(fire(), {}, true);
  EXPECT_THAT(why("first"), ElementsAre("not_started", "budget"));
}

TEST_F(Firings, FiringThatWasRefusedAsAWhole) {
  addTask("name_1");
  addTask("nameX1");
  EXPECT_THROW(fire(), Failure);
  EXPECT_THAT(why("name_1"), ElementsAre("not_started", "not_fired"));
  EXPECT_THAT(text("name_1"), HasSubstr("cannot be run safely"));
}

TEST_F(Firings, RecordFollowsARenamedTaskAndIsDeletedWithIt) {
  addTask("off", "", false);
  end(fire(), {});
  sql("update task set task_name = 'new' where task_name = 'off'");
  EXPECT_THAT(why("new"), ElementsAre("not_started", "disabled"));
  sql("delete from task");
  EXPECT_EQ("0", count("firing_task"));
}

TEST_F(Firings, OnlyTheLastFewOfAnEventAreKept) {
  addTask("off", "", false);
  constexpr int FIRINGS = 20;
  for (int i = 0; i < FIRINGS; ++i) {
    fire();
  }
  EXPECT_EQ("4", count("firing"));
  EXPECT_EQ("4", count("firing_task"));
}

TEST_F(Firings, FiringThatWasNotRecorded) {
  addTask("root");
  addTask("off", "", false);
  addRun("root", "1001", "4001");
  const Explanation explanation = explainTask(session(), "off");
  EXPECT_FALSE(explanation.blRemembered);
  EXPECT_EQ("disabled", explanation.vecReasons.at(0).strCode);
}

TEST_F(Firings, TasksRunWhenTheFiringCannotBeRecorded) {
  addTask("it");
  sql("drop table firing_task");
  const ExecutionPlan plan = fire();
  EXPECT_EQ(0, plan.iFiring);
  EXPECT_EQ(1U, plan.vecTasks.size());
  EXPECT_THAT(plan.vecWarnings, ElementsAre(HasSubstr("cannot record which tasks")));
  EXPECT_EQ("0", count("firing")) << "all of it or nothing";
}
