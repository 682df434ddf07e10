/// Reasons in words: every code has a text, and the command can be typed.

#include "common/answers/reason_text.h"

#include <gmock/gmock.h>

#include "common/tasks/task_graph.h"
#include "common/text/json_members.h"

using namespace Host;

namespace {

Json::Value task(const std::string& strName, const std::string& strNeeds, bool blEnabled, const std::string& strEvent) {
  return objectOf(
      {{"task_name", strName}, {"event", strEvent}, {"enable", blEnabled}, {"depend_on_task", strNeeds}, {"owner", 0}});
}

/// The first reason of a task, as "code: text: advice".
std::string wordsFor(const std::string& strTask, Tense tense) {
  Json::Value jTasks(Json::arrayValue);
  jTasks.append(task("off", "", false, "ev"));
  jTasks.append(task("behind", "[off]", true, "ev"));
  jTasks.append(task("further", "[behind]", true, "ev"));
  jTasks.append(task("lonely", "[ghost][root]", true, "ev"));
  jTasks.append(task("root", "", true, "ev"));
  jTasks.append(task("astray", "[elsewhere]", true, "ev"));
  jTasks.append(task("elsewhere", "", true, "other"));
  jTasks.append(task("odd", "nobody", true, "ev"));
  jTasks.append(task("left", "[right]", true, "ev"));
  jTasks.append(task("right", "[left]", true, "ev"));
  const TaskGraph graph(jTasks);
  const Reason reason = reasonOf(recordOf(Reasons(graph, tense).of(*graph.find(strTask)).at(0)));
  return reason.strCode + ": " + reasonText(reason) + ": " + reasonAdvice(strTask, reason);
}

std::string textOfCode(const char* szCode, const Json::Value& jDetails) {
  const Reason reason{szCode, "other", jDetails};
  return reasonText(reason) + ": " + reasonAdvice("it", reason);
}

}  // namespace

TEST(ReasonText, FromTheRecordsInThePresent) {
  EXPECT_EQ("disabled: is disabled: eorva task enable off", wordsFor("off", Tense::NOW));
  EXPECT_EQ("need_disabled: waits for \"off\", which is disabled: eorva task enable off",
            wordsFor("behind", Tense::NOW));
  EXPECT_EQ("need_blocked: waits for \"behind\", which is not started: eorva explain behind",
            wordsFor("further", Tense::NOW));
  EXPECT_EQ("missing: waits for \"ghost\", and there is no such task: eorva task edit lonely --after root",
            wordsFor("lonely", Tense::NOW));
  EXPECT_EQ(
      "other_event: waits for \"elsewhere\", which belongs to the event \"other\": eorva task edit elsewhere --event "
      "ev",
      wordsFor("astray", Tense::NOW));
  EXPECT_EQ("malformed: has a dependency list that cannot be read, \"nobody\": eorva task edit odd --no-after",
            wordsFor("odd", Tense::NOW));
  EXPECT_EQ("circle: waits for \"right\", which waits for it, too: eorva task edit left --no-after",
            wordsFor("left", Tense::NOW));
}

TEST(ReasonText, FromTheRecordsInThePast) {
  EXPECT_EQ("disabled: was disabled: eorva task enable off", wordsFor("off", Tense::THEN));
  EXPECT_EQ("circle: waited for \"right\", which waited for it, too: eorva task edit left --no-after",
            wordsFor("left", Tense::THEN));
}

TEST(ReasonText, RunsAndProcessesAreNamed) {
  EXPECT_EQ("waits for \"other\", which is still running (run 7): eorva runs show 7",
            textOfCode("need_running", objectOf({{"run", 7}})));
  EXPECT_THAT(textOfCode("need_retry", objectOf({{"run", 7}, {"at", 1700000000}})),
              testing::MatchesRegex("waits for \"other\", which failed \\(run 7\\) and is tried again at "
                                    "2023-11-1[345] [0-9:]+: eorva runs show 7"));
  EXPECT_EQ("is running (process 4, 5), and allows only one run at a time: eorva runs list --task it",
            textOfCode("running", objectOf({{"processes", arrayOf(std::vector<int>{4, 5})}})));
  EXPECT_EQ("was not started: the execution was interrupted during run 7 of \"{run}\": eorva runs show 7",
            textOfCode("interrupted", objectOf({{"run", 7}, {"task", "{run}"}})));
  EXPECT_EQ("could not be started: journalctl -t eorva", textOfCode("unknown", objectOf({{"cause", "failed"}})));
}

TEST(ReasonText, WhereThereIsNothingToDoThereIsNoCommand) {
  Reason reason{"disabled", "", Json::objectValue};
  reason.blNeedsAction = false;
  EXPECT_EQ("", reasonAdvice("it", reason));
}

TEST(ReasonText, MembersThatAreAbsentAreEmptyAndCommandsAreQuoted) {
  EXPECT_EQ("a  b {", filledIn("a {nothing} b {", Json::objectValue));
  EXPECT_EQ("see 'two words'", filledInCommand("see {it}", objectOf({{"it", "two words"}})));
}
