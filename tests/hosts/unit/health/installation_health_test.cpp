/// Findings about tasks, and commands that can be typed.

#include "common/health/installation_health.h"

#include <gmock/gmock.h>

#include "common/answers/command_text.h"
#include "common/answers/finding_text.h"
#include "common/text/terminal_text.h"

using namespace Host;
using testing::Contains;
using testing::IsEmpty;

namespace {

Json::Value task(const std::string& strName, const std::string& strNeeds = "", bool blEnabled = true) {
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = strName;
  jTask["event"] = "ev";
  jTask["enable"] = blEnabled;
  jTask["depend_on_task"] = strNeeds;
  jTask["operation_type"] = "script";
  jTask["operation"] = "#!/bin/sh\n";
  jTask["owner"] = 0;
  for (const char* szFlag : {"run_the_same_time", "notify_enable", "notify_if_error"}) {
    jTask[szFlag] = false;
  }
  jTask["notify_mail"] = "";
  jTask["time_limit"] = 0;
  return jTask;
}

/// The findings as "severity subject: advice".
std::vector<std::string> found(const std::vector<Json::Value>& vecTasks) {
  Json::Value jTasks(Json::arrayValue);
  for (const Json::Value& jTask : vecTasks) {
    jTasks.append(jTask);
  }
  HealthFindings findings;
  checkTasks(jTasks, findings);
  std::vector<std::string> vecLines;
  for (const HealthFinding& finding : findings) {
    vecLines.push_back((finding.severity == HealthFinding::Severity::PROBLEM ? "problem " : "warning ") +
                       finding.strSubject + ": " + findingAdvice(finding));
  }
  return vecLines;
}

}  // namespace

TEST(TaskHealth, SoundTasks) {
  EXPECT_THAT(found({task("a"), task("b", "[a]")}), IsEmpty());
}

TEST(TaskHealth, TasksBehindADisabledTaskAreWarnings) {
  EXPECT_THAT(found({task("off", "", false), task("next", "[off]"), task("last", "[next]")}),
              testing::ElementsAre("warning next: eorva task enable off", "warning last: eorva explain next"));
}

TEST(TaskHealth, MissingTaskIsAProblem) {
  EXPECT_THAT(found({task("a", "[ghost][b]"), task("b")}), Contains("problem a: eorva task edit a --after b"));
}

TEST(TaskHealth, CircleIsBrokenByARealCommand) {
  const std::vector<std::string> vecFound = found({task("a", "[c]"), task("b", "[a]"), task("c", "[b]"), task("d")});
  EXPECT_THAT(vecFound, Contains("problem a: eorva task edit a --no-after"));
  for (const std::string& strLine : vecFound) {
    EXPECT_EQ(std::string::npos, strLine.find("TASK")) << strLine;
    EXPECT_EQ(std::string::npos, strLine.find("...")) << strLine;
  }
}

TEST(TaskHealth, NewNameIsSuggestedThatIsFreeAndSound) {
  EXPECT_THAT(found({task("../up"), task("up")}), Contains("problem ../up: eorva task rename ../up up-2"));
  EXPECT_THAT(found({task("a_b"), task("aXb")}), Contains("problem a_b: eorva task rename a_b a-b"));
}

TEST(TaskHealth, NamesThatLookLikeOptionsStandBehindTheDashes) {
  const std::vector<std::string> vecFound =
      found({task("-x", "", false), task("it", "[-x]"), task("-y", "[ghost][it]")});
  EXPECT_THAT(vecFound, Contains("warning it: eorva task enable -- '-x'"));
  EXPECT_THAT(vecFound, Contains("problem -y: eorva task edit --after it -- '-y'"));
  EXPECT_EQ(" --after='-x'", optionText("--after", "-x"));
}

TEST(Advice, NamesThatATerminalObeysAreGivenInEscapes) {
  EXPECT_EQ("eorva task enable $'a\\033[2J\\012\\'b'", eorvaCommand("task enable", {"a\033[2J\n'b"}));
  EXPECT_EQ("eorva task enable 'a b'", eorvaCommand("task enable", {"a b"}));
}

TEST(TerminalText, LineEndsAreShownWhereThereIsOneLine) {
  EXPECT_EQ("a^[b^J^Ic", onOneLine("a\033b\n\tc"));
}
