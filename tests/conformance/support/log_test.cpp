// The three forms of log lines, and the checks that write them.

#include "support/log.h"

#include <cerrno>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

#include "fakes/eorva_test.h"
#include "support/check.h"

using namespace OrvaTest;

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_UTIL;

std::string pid() {
  return "(" + std::to_string(::getpid()) + ")";
}

int check(const char* szText) {
  FAIL_IF(!szText);
  FAIL_IF_AS(std::strlen(szText) == 0, "szText.empty()");
  return 5;
}

class Log : public EorvaTest {
protected:
  // The written text, character by character.
  std::string written() {
    const auto lines = logLines();
    const std::string strRaw = lines.empty() ? "" : lines.back().strRaw;
    forgetLog();
    return strRaw;
  }
};

}  // namespace

TEST_F(Log, LineInSyslogIsSourceLineProcessAndMessage) {
  Orva::logLine(UTIL, 7, "n=%d, s=%s", 5, "x");
  EXPECT_EQ(written(), "util:7 " + pid() + "n=5, s=x");
  Orva::logLine(LIB, 1234, "plain");
  EXPECT_EQ(written(), "eorvascheduler_lib:1234 " + pid() + "plain");
}

TEST_F(Log, LineInSyslogEndsWithTheReasonWhenErrnoIsSet) {
  errno = EACCES;
  Orva::logLine(UTIL, 7, "message");
  EXPECT_EQ(written(), "util:7 " + pid() + "message(Permission denied)");
}

TEST_F(Log, LinesInSyslogHavePriorityError) {
  blDebugOutput = true;
  Orva::logLine(UTIL, 7, "message");
  Orva::logFailed(UTIL, 7, "check");
  Orva::logSystem(UTIL, 7, "direct");
  LOG_DEBUG("debug");
  int cLines = 0;
  for (const auto& entry : fakes().journal().entries()) {
    EXPECT_EQ(entry.iPriority, 3);
    ++cLines;
  }
  EXPECT_EQ(cLines, 4);
  forgetLog();
}

TEST_F(Log, LineOnStandardOutputIsProcessSourceLineAndMessage) {
  blLogToStdout = true;
  errno = EACCES;
  Orva::logLine(UTIL, 7, "n=%d", 5);
  EXPECT_EQ(written(), pid() + " util:7 n=5\n");
}

TEST_F(Log, FailureHoldsItsPlaceTheCheckTheReasonAndANewline) {
  Orva::logFailed(UTIL, 7, "!pApi");
  EXPECT_EQ(written(), "util:7 " + pid() + "(util:7)Failed [!pApi](Success)\n");
  errno = EACCES;
  Orva::logFailed(LIB, 8, "!in");
  EXPECT_EQ(written(), "eorvascheduler_lib:8 " + pid() +
                           "(eorvascheduler_lib:8)Failed [!in](Permission denied)\n(Permission denied)");
}

TEST_F(Log, FailureOnStandardOutputHasTwoNewlines) {
  blLogToStdout = true;
  errno = ENOENT;
  Orva::logFailed(UTIL, 7, "!pApi");
  EXPECT_EQ(written(), pid() + " util:7 (util:7)Failed [!pApi](No such file or directory)\n\n");
}

TEST_F(Log, FailureWithValuesIsFormattedBeforeItIsEnclosed) {
  Orva::logFailedWith(UTIL, 7, "open sqlite failed, path=%s, errno=%d", "/a%sb", 14);
  EXPECT_EQ(written(), "util:7 " + pid() + "(util:7)Failed [open sqlite failed, path=/a%sb, errno=14](Success)\n");
}

TEST_F(Log, DirectLineGoesToSyslogWhateverTheFlagsSay) {
  for (const bool blStdout : {false, true}) {
    blLogToStdout = blStdout;
    errno = EACCES;
    Orva::logSystem(LIB, 7, "Output path is %s", "empty");
    EXPECT_FALSE(logLines().back().blStdout);
    EXPECT_EQ(written(), "eorvascheduler_lib:7 Output path is empty");
  }
}

TEST_F(Log, PercentSignsOfAValueAreNotInterpreted) {
  const std::string strHostile = "%s%n%m%9999d";
  for (const bool blStdout : {false, true}) {
    blLogToStdout = blStdout;
    Orva::logLine(UTIL, 7, "v=%s", strHostile.c_str());
    EXPECT_THAT(written(), testing::HasSubstr("v=" + strHostile));
    Orva::logFailed(UTIL, 7, strHostile.c_str());
    EXPECT_THAT(written(), testing::HasSubstr("[" + strHostile + "]"));
    Orva::logSystem(UTIL, 7, "v=%s", strHostile.c_str());
    EXPECT_THAT(written(), testing::HasSubstr("v=" + strHostile));
  }
}

TEST_F(Log, LongLineIsWrittenWhole) {
  const std::string strLong(100000, 'x');
  Orva::logLine(UTIL, 7, "%s", strLong.c_str());
  EXPECT_TRUE(written() == "util:7 " + pid() + strLong);
}

TEST_F(Log, LeavesErrnoAsItWas) {
  for (const bool blStdout : {false, true}) {
    blLogToStdout = blStdout;
    for (const int iErrno : {0, ENOSPC}) {
      errno = iErrno;
      Orva::logLine(UTIL, 7, "line");
      EXPECT_EQ(errno, iErrno);
      Orva::logFailed(UTIL, 7, "check");
      EXPECT_EQ(errno, iErrno);
      Orva::logFailedWith(UTIL, 7, "check %d", 1);
      EXPECT_EQ(errno, iErrno);
      Orva::logSystem(UTIL, 7, "direct");
      EXPECT_EQ(errno, iErrno);
    }
  }
  forgetLog();
}

TEST_F(Log, DebugLineAppearsOnlyWithTheFlag) {
  LOG_DEBUG("nothing to be save, ignore");
  EXPECT_THAT(logLines(), testing::IsEmpty());
  blDebugOutput = true;
  expectDebug("nothing to be save, ignore", UTIL);
  LOG_DEBUG("nothing to be save, ignore");
  verifyLog();
  blLogToStdout = true;
  expectDebug("nothing to be save, ignore", UTIL);
  LOG_DEBUG("nothing to be save, ignore");
  EXPECT_TRUE(logLines().back().blStdout);
}

TEST_F(Log, ArgumentsOfADebugLineAreNotEvaluatedWithoutTheFlag) {
  int cEvaluated = 0;
  LOG_DEBUG("iStatus=%d", ++cEvaluated);
  EXPECT_EQ(cEvaluated, 0);
}

TEST_F(Log, FailedCheckLeavesWithMinus1AndItsOwnText) {
  expectFailure("!szText", UTIL);
  EXPECT_EQ(check(nullptr), -1);
  expectFailure("szText.empty()", UTIL);
  EXPECT_EQ(check(""), -1);
}

TEST_F(Log, CheckThatHoldsLogsNothing) {
  EXPECT_EQ(check("x"), 5);
}

TEST_F(Log, ChildLogsUnderItsOwnProcessId) {
  expectLine("of the child", UTIL).inChild();
  const pid_t pidChild = ::fork();
  if (pidChild == 0) {
    Orva::logLine(UTIL, 7, "of the child");
    ::_exit(0);
  }
  ASSERT_EQ(::waitpid(pidChild, nullptr, 0), pidChild);
  EXPECT_EQ(logLines().at(0).strRaw, "util:7 (" + std::to_string(pidChild) + ")of the child");
}
