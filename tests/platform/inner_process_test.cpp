#include <csignal>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mail/courier.h"
#include "platform_fixture.h"
#include "process/run.h"
#include "support/files.h"

using namespace std::chrono_literals;
using OrvaTest::PlatformTest;

namespace {

class RunProgram : public PlatformTest {
protected:
  int run(const std::string& strScript, int fdIn = -1, int fdOut = -1, const orva::RunLimits& limits = {}) {
    OrvaTest::writeFile("/tmp/program", "#!/bin/sh\n" + strScript, 0755);
    errno = 0;
    return orva::runProgram({"/tmp/program"}, fdIn, fdOut, limits);
  }
};

TEST_F(RunProgram, ProgramThatTakesTooLongIsEnded) {
  EXPECT_EQ(run("sleep 1000", -1, -1, {1ms, 1000s}), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(RunProgram, ProgramThatIgnoresTheFirstSignalIsKilledWithItsGroup) {
  OrvaTest::adoptOrphans();
  EXPECT_EQ(run("trap '' TERM\nsleep 1000 &\nwhile :; do sleep 1000; done", -1, -1, {200ms, 1ms}), -1);
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_TRUE(OrvaTest::waitForOrphans()) << "what it started in its group ended too, else this would not return";
}

TEST_F(RunProgram, LimitThatIsNotReachedChangesNothing) {
  EXPECT_EQ(run("exit 7", -1, -1, {1000s, 1000s}), 7);
}

TEST_F(RunProgram, InputAndOutputAreThoseGiven) {
  const int fdIn = memfd_create("in", 0);
  const int fdOut = memfd_create("out", 0);
  ASSERT_EQ(write(fdIn, "abc", 3), 3);
  lseek(fdIn, 1, SEEK_SET);
  EXPECT_EQ(run("cat; echo to nobody >&2", fdIn, fdOut), 0);
  char szOut[8] = "";
  EXPECT_EQ(pread(fdOut, szOut, sizeof szOut - 1, 0), 2);
  EXPECT_STREQ(szOut, "bc");
  close(fdIn);
  close(fdOut);
}

TEST_F(RunProgram, DescriptorsThatStandInEachOthersWayArriveRight) {
  const int fdKeptIn = dup(0);
  const int fdKeptOut = dup(1);
  const int fdIn = memfd_create("in", 0);
  const int fdOut = memfd_create("out", 0);
  ASSERT_EQ(write(fdIn, "abc", 3), 3);
  lseek(fdIn, 0, SEEK_SET);
  dup2(fdIn, 1);
  dup2(fdOut, 0);
  const int iResult = run("cat", 1, 0);
  dup2(fdKeptIn, 0);
  dup2(fdKeptOut, 1);
  EXPECT_EQ(iResult, 0);
  char szOut[8] = "";
  EXPECT_EQ(pread(fdOut, szOut, sizeof szOut - 1, 0), 3);
  EXPECT_STREQ(szOut, "abc");
  for (const int fd : {fdKeptIn, fdKeptOut, fdIn, fdOut}) {
    close(fd);
  }
}

TEST_F(RunProgram, CallerThatIgnoresEndedChildrenLearnsThatTheStatusIsUnknown) {
  signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(run("exit 0"), -1);
  EXPECT_EQ(errno, ECHILD);
  signal(SIGCHLD, SIG_DFL);
}

TEST_F(RunProgram, MailProgramThatHangsIsEndedAndTheMailKept) {
  OrvaTest::adoptOrphans();
  OrvaTest::installMailProgram("#!/bin/sh\ntrap '' TERM\nwhile :; do sleep 1000; done\n");
  const int fdMessage = memfd_create("message", 0);
  ASSERT_EQ(write(fdMessage, "a@b c@d\nmessage\n", 16), 16);
  orva::deliverAndFlush(fdMessage, {1ms, 1ms});
  EXPECT_THAT(OrvaTest::entries("/var/spool/orva/outbox"), testing::SizeIs(1));
  OrvaTest::installMailProgram(OrvaTest::KEEPING_MAIL_PROGRAM);
  EXPECT_EQ(orva::flushOutbox({100s, 1s}), 0);
  EXPECT_EQ(OrvaTest::readFile("/tmp/mail/1.eml"), "message\n");
  OrvaTest::waitForOrphans();
  close(fdMessage);
}

}  // namespace
