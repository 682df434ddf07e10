#include "common/text/crontab_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/support/failure.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

CrontabLine lineOf(const std::string& strText, CrontabKind kind = CrontabKind::USER) {
  std::vector<std::string> vecErrors;
  const std::vector<CrontabLine> vecLines = readCrontab(strText, kind, vecErrors);
  EXPECT_THAT(vecErrors, IsEmpty()) << strText;
  EXPECT_THAT(vecLines, SizeIs(1)) << strText;
  return vecLines.empty() ? CrontabLine() : vecLines.front();
}

}  // namespace

TEST(Crontab, LinesOfTheSystemNameAUser) {
  const CrontabLine line = lineOf("# comment\n\n 5  4 * * sun\talice  run this\n", CrontabKind::SYSTEM);
  EXPECT_EQ(line.cLine, 3U);
  EXPECT_EQ(line.strSchedule, "5  4 * * sun");
  EXPECT_EQ(line.strUser, "alice");
  EXPECT_EQ(line.strCommand, "run this");
}

TEST(Crontab, LinesOfAUserDoNot) {
  const CrontabLine line = lineOf("@daily alice run");
  EXPECT_EQ(line.strSchedule, "@daily");
  EXPECT_EQ(line.strUser, "");
  EXPECT_EQ(line.strCommand, "alice run");
}

TEST(Crontab, VariablesHoldForTheLinesBelow) {
  std::vector<std::string> vecErrors;
  const auto vecLines = readCrontab("A=1\n@daily x\n\"A\" = ' two '\nB=it's\n@daily y", CrontabKind::USER, vecErrors);
  ASSERT_THAT(vecLines, SizeIs(2));
  EXPECT_THAT(vecLines[0].mapEnvironment, ElementsAre(Pair("A", "1")));
  EXPECT_THAT(vecLines[1].mapEnvironment, ElementsAre(Pair("A", " two "), Pair("B", "it's")));
  EXPECT_THAT(vecErrors, IsEmpty());
}

TEST(Crontab, PercentBeginsTheInput) {
  const CrontabLine line = lineOf("@daily mail -s \"100\\% done\" bob%Dear Bob,%%all \\% is well.");
  EXPECT_EQ(line.strCommand, "mail -s \"100% done\" bob");
  EXPECT_EQ(line.strInput, "Dear Bob,\n\nall % is well.\n");
  EXPECT_EQ(lineOf("@daily date +\\%F").strInput, "");
}

TEST(Crontab, WrongLinesAreNamedAndTheOthersRead) {
  std::vector<std::string> vecErrors;
  const auto vecLines =
      readCrontab("nonsense\n1 2 3 4 5\n* * * * * alice\nA B=1\n=2\n@daily bob true\n", CrontabKind::SYSTEM, vecErrors);
  EXPECT_THAT(vecLines, SizeIs(1));
  EXPECT_THAT(vecErrors,
              ElementsAre("line 1: \"nonsense\" is neither a schedule with a command nor NAME=VALUE",
                          "line 2: the user or the command is missing", "line 3: the user or the command is missing",
                          "line 4: \"A B=1\" is neither a schedule with a command nor NAME=VALUE",
                          "line 5: \"=2\" is neither a schedule with a command nor NAME=VALUE"));
}

TEST(Crontab, ScriptHasTheCommandAndItsVariables) {
  const CrontabLine line = lineOf("PATH=/bin:/usr/bin\nQ=it's\nMAILTO=bob\nUSER=x\nLOGNAME=x\n30 2 * * * backup --all");
  EXPECT_EQ(scriptOfCrontabLine(line, "/etc/cron.d/backup"),
            "#!/bin/sh\n"
            "# From /etc/cron.d/backup: 30 2 * * *\n"
            "export PATH='/bin:/usr/bin'\n"
            "export Q='it'\\''s'\n"
            "cd \"$HOME\" || exit\n"
            "backup --all\n");
}

TEST(Crontab, ScriptRunsInTheShellOfTheTableWithTheInput) {
  const CrontabLine line = lineOf("SHELL=/bin/bash\n@daily cat%END_OF_INPUT%$HOME");
  EXPECT_EQ(scriptOfCrontabLine(line, "table"),
            "#!/bin/bash\n"
            "# From table: @daily\n"
            "cd \"$HOME\" || exit\n"
            "{ cat\n"
            "} <<'END_OF_INPUT_'\n"
            "END_OF_INPUT\n"
            "$HOME\n"
            "END_OF_INPUT_\n");
  EXPECT_THROW(scriptOfCrontabLine(lineOf("SHELL=bash\n@daily x"), "table"), Failure);
}
