/// Events, plans and explanations as programs get them.

#include "common/answers/event_answers.h"

#include <gtest/gtest.h>

#include "common/events/event_state.h"
#include "common/reasons/event_plan.h"
#include "common/reasons/explanation.h"
#include "common/text/json_members.h"

using namespace Host;

namespace {

const OwnerNames OWNERS = {{"a", "alice"}, {"b", "bob"}};

Json::Value arrayWith(const Json::Value& jItem) {
  Json::Value jArray(Json::arrayValue);
  jArray.append(jItem);
  return jArray;
}

Reason disabled(const std::string& strTask) {
  return {"disabled", strTask, Json::objectValue};
}

}  // namespace

TEST(EventAnswers, EventHasItsTextsItsStateAndItsUnits) {
  EventState state;
  state.event.strName = "weekly";
  state.event.jTitle = objectOf({{"enu", "Once a week"}});
  state.vecFiredBy = {"eorva-weekly.timer"};
  state.state.strInstalled = "enabled";
  state.cTasks = 2;
  state.iNext = 1234;
  EXPECT_EQ(eventForPrograms(state), objectOf({{"name", "weekly"},
                                               {"title", objectOf({{"enu", "Once a week"}})},
                                               {"description", Json::Value()},
                                               {"in_catalogue", true},
                                               {"added", false},
                                               {"at", Json::arrayValue},
                                               {"next", 1234},
                                               {"tasks", 2U},
                                               {"enabled", true},
                                               {"active", Json::Value()},
                                               {"fired_by", arrayWith("eorva-weekly.timer")}}));
  state.state = {true, "disabled", "inactive", {}};
  EXPECT_EQ(eventForPrograms(state)["enabled"], false);
  EXPECT_EQ(eventForPrograms(state)["active"], "inactive");
  state.iNext.reset();
  state.event.vecAt = {"daily"};
  EXPECT_TRUE(eventForPrograms(state)["next"].isNull());
  EXPECT_EQ(eventForPrograms(state)["at"], arrayWith("daily"));
}

TEST(EventAnswers, PlanHasTheTasksThatWouldRunAndThoseThatWouldNot) {
  PlannedTask planned;
  planned.task.strName = "a";
  planned.task.strEvent = "bootup";
  planned.task.iOwner = 1001;
  planned.task.vecWaitsFor = {"c"};
  planned.uWave = 2;
  planned.iStart = 3;
  planned.iEnd = 7;
  EventPlan plan;
  plan.vecTasks = {planned};
  plan.vecBlocked = {{"b", {disabled("")}}};
  plan.vecProblems = {"a circle"};
  plan.iDuration = 7;
  plan.blExact = false;
  const Json::Value jPlan = planForPrograms("bootup", plan, OWNERS);
  EXPECT_EQ(jPlan["would_run"], arrayWith(objectOf({{"task_name", "a"},
                                                    {"event", "bootup"},
                                                    {"owner", 1001},
                                                    {"owner_name", "alice"},
                                                    {"wave", 2U},
                                                    {"last_duration", Json::Value()},
                                                    {"starts_after", 3},
                                                    {"ends_after", 7},
                                                    {"waits_for", arrayWith("c")},
                                                    {"only_after_success", false}})));
  EXPECT_EQ(jPlan["would_not_run"],
            arrayWith(objectOf({{"task_name", "b"},
                                {"reasons", arrayWith(objectOf({{"code", "disabled"},
                                                                {"text", "is disabled"},
                                                                {"advice", "eorva task enable b"},
                                                                {"other_task", Json::Value()}}))}})));
  EXPECT_EQ(jPlan["event"], "bootup");
  EXPECT_EQ(jPlan["problems"], arrayWith("a circle"));
  EXPECT_EQ(jPlan["duration"], 7);
  EXPECT_EQ(jPlan["duration_known"], false);
}

TEST(EventAnswers, PlanHasTheDurationOfARunThatEnded) {
  EventPlan plan;
  plan.vecTasks.resize(1);
  plan.vecTasks[0].task.strName = "a";
  plan.vecTasks[0].iLastDuration = 0;
  EXPECT_EQ(planForPrograms("bootup", plan, OWNERS)["would_run"][0]["last_duration"], 0);
}

TEST(EventAnswers, ExplanationOfATaskThatNeverRanHasNullsAndReasons) {
  Explanation explanation;
  explanation.jTask = objectOf({{"task_name", "a"}, {"event", "bootup"}});
  explanation.vecReasonsNow = {disabled("")};
  explanation.vecWaitsFor = {{"b", Json::Value()}};
  const Json::Value jOut = explanationForPrograms(explanation);
  EXPECT_EQ(jOut["task_name"], "a");
  EXPECT_EQ(jOut["event"], "bootup");
  EXPECT_EQ(jOut["verdict"], "never_fired");
  for (const char* szKey : {"last_fired", "run", "newest_run"}) {
    EXPECT_TRUE(jOut.isMember(szKey) && jOut[szKey].isNull()) << szKey;
  }
  EXPECT_TRUE(jOut["reasons"].isArray() && jOut["reasons"].empty());
  EXPECT_EQ(jOut["would_start_now"], false);
  EXPECT_EQ(jOut["obstacles_now"][0]["code"], "disabled");
  EXPECT_EQ(jOut["needs"], arrayWith(objectOf({{"task_name", "b"}, {"run", Json::Value()}})));
}

TEST(EventAnswers, ExplanationOfATaskThatRanHasItsRuns) {
  Explanation explanation;
  explanation.jTask = objectOf({{"task_name", "a"}, {"event", "bootup"}});
  explanation.verdict = Explanation::Verdict::RAN;
  explanation.blRemembered = true;
  explanation.iFiredAt = 1000;
  explanation.jRun = objectOf({{"result_id", 4}, {"owner", 1001}, {"owner_name", "alice"}});
  explanation.jNewest = objectOf({{"result_id", 5}, {"task_name", "a"}});
  explanation.vecReasons = {disabled("b")};
  explanation.vecWaitsFor = {{"b", objectOf({{"result_id", 3}, {"owner", 1002}, {"owner_name", "bob"}})}};
  const Json::Value jOut = explanationForPrograms(explanation);
  EXPECT_EQ(jOut["verdict"], "ran");
  EXPECT_EQ(jOut["remembered"], true);
  EXPECT_EQ(jOut["last_fired"], 1000);
  EXPECT_EQ(jOut["run"]["result_id"], 4);
  EXPECT_EQ(jOut["run"]["owner_name"], "alice");
  EXPECT_EQ(jOut["newest_run"]["result_id"], 5);
  EXPECT_EQ(jOut["reasons"][0]["other_task"], "b");
  EXPECT_EQ(jOut["would_start_now"], true);
  EXPECT_EQ(jOut["needs"][0]["run"]["owner_name"], "bob");
}
