#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

using OrvaTest::PlatformTest;

namespace {

class Process : public PlatformTest {
protected:
  // Runs a shell script with the arguments of KLIBCExec().
  int execute(const std::string& strScript, const char* szArg1 = nullptr, const char* szArg2 = nullptr,
              const char* szArg3 = nullptr, const char* szArg4 = nullptr) {
    OrvaTest::writeFile("/tmp/program", "#!/bin/sh\n" + strScript, 0755);
    return KLIBCExec("/tmp/program", szArg1, szArg2, szArg3, szArg4);
  }
};

TEST_F(Process, NoPidOfZeroOrLessIsAlive) {
  for (const pid_t pid : {0, -1, -2, -2147483647}) {
    EXPECT_EQ(KLIBCProcAlive(pid), 0) << pid;
  }
}

TEST_F(Process, OwnAndFirstProcessAreAliveAnEndedOneIsNot) {
  EXPECT_EQ(KLIBCProcAlive(getpid()), 1);
  EXPECT_EQ(KLIBCProcAlive(1), 1);
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(0);
  }
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
  EXPECT_EQ(KLIBCProcAlive(pid), 1) << "ended, but not collected: its id is still taken";
  waitpid(pid, nullptr, 0);
  errno = 0;
  EXPECT_EQ(KLIBCProcAlive(pid), 0);
  EXPECT_EQ(errno, 0);
}

TEST_F(Process, ProcessOfSomebodyElseIsAlive) {
  const pid_t pidOfRoot = getpid();
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(setuid(4711) == 0 && KLIBCProcAlive(pidOfRoot) == 1 ? 0 : 1);
  }
  int iStatus = -1;
  waitpid(pid, &iStatus, 0);
  EXPECT_EQ(iStatus, 0);
}

TEST_F(Process, ExitStatusIsGivenBack) {
  EXPECT_EQ(execute("exit 0"), 0);
  EXPECT_EQ(execute("exit 3"), 3);
  EXPECT_EQ(execute("exit 255"), 255);
}

TEST_F(Process, ArgumentsArriveUnchangedUpToTheFirstNull) {
  EXPECT_EQ(execute("printf '%s|' \"$#\" \"$@\" > /tmp/arguments", "a b", "$HOME;'", "", "x"), 0);
  EXPECT_EQ(OrvaTest::readFile("/tmp/arguments"), "4|a b|$HOME;'||x|");
  EXPECT_EQ(execute("printf '%s|' \"$#\" \"$@\" > /tmp/arguments", "a", nullptr, "never", "read"), 0);
  EXPECT_EQ(OrvaTest::readFile("/tmp/arguments"), "1|a|");
}

TEST_F(Process, ProgramThatCannotRunOrIsKilledIsAFailure) {
  EXPECT_LT(KLIBCExec("/tmp/missing", nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(KLIBCErrGet(), ENOENT);
  OrvaTest::writeFile("/tmp/plain", "text", 0644);
  EXPECT_LT(KLIBCExec("/tmp/plain", nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(KLIBCErrGet(), EACCES);
  EXPECT_LT(KLIBCExec("true", nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_LT(KLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_LT(execute("kill -9 $$"), 0);
}

TEST_F(Process, ProgramStartsWithNothingOfItsCaller) {
  const int fd = open("/tmp", O_RDONLY);
  setenv("ORVA_SECRET", "1", 1);
  EXPECT_EQ(execute("out=$(readlink /proc/$$/fd/1)\n"
                    "{ ls /proc/self/fd | wc -l; pwd; env; readlink /proc/self/fd/0; echo $out; } > /tmp/seen\n"
                    "grep -q SECRET /tmp/seen && exit 9; exit 0"),
            0);
  const std::string strSeen = OrvaTest::readFile("/tmp/seen");
  EXPECT_THAT(strSeen, testing::HasSubstr("4\n/\n")) << "0, 1, 2 and the folder that ls reads";
  EXPECT_THAT(strSeen, testing::EndsWith("/dev/null\n/dev/null\n"));
  close(fd);
  unsetenv("ORVA_SECRET");
}

TEST_F(Process, ProgramStartsWithDefaultSignals) {
  signal(SIGPIPE, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  EXPECT_EQ(execute("grep -E '^Sig(Blk|Ign)' /proc/$$/status | cut -f 2 > /tmp/signals"), 0);
  // The C library reserves two real-time signals and ignores them in spawned programs.
  EXPECT_EQ(OrvaTest::readFile("/tmp/signals"), "0000000000000000\n0000000180000000\n");
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  signal(SIGPIPE, SIG_DFL);
}

TEST_F(Process, OtherChildrenOfTheCallerAreNotCollected) {
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(42);
  }
  EXPECT_EQ(execute("exit 0"), 0);
  int iStatus = 0;
  ASSERT_EQ(waitpid(pid, &iStatus, 0), pid);
  EXPECT_EQ(WEXITSTATUS(iStatus), 42);
}

}  // namespace
