/// Control groups, below that of the test; what this kernel does not tell is read from files of the test's own.

#include "common/support/control_group.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/files.h"
#include "held_run.h"
#include "support/files.h"
#include "support/processes.h"
#include "test_group.h"
#include "wait_until.h"

using namespace Host;
using HostTest::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class ControlGroups : public testing::Test {
protected:
  void SetUp() override {
    if (const std::string strWhy = HostTest::TestGroup::whyNone(); !strWhy.empty()) {
      GTEST_SKIP() << strWhy;
    }
    m_test.emplace();
  }
  void TearDown() override { OrvaTest::endChildren(); }

  const ControlGroup& group() const { return m_test->group(); }

  /// Forks a process in a group, which waits until it is killed.
  static pid_t forkIn(const ControlGroup& group, const std::function<void()>& fnFirst = [] {}) {
    Pipe ready;
    const pid_t pidParent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
      HostTest::endWith(pidParent);
      group.enter();
      fnFirst();
      ready.writer.reset();
      for (;;) {
        pause();
      }
    }
    ready.writer.reset();
    readAll(ready.reader.get(), "the pipe");
    return pid;
  }

private:
  std::optional<HostTest::TestGroup> m_test;
};

/// Files as the kernel has them in a group.
class FilesOfAGroup : public testing::Test {
protected:
  void write(const std::string& strName, const std::string& strText) {
    OrvaTest::writeFile(m_folder.path(strName), strText);
  }
  std::string read(const std::string& strName) { return OrvaTest::readFile(m_folder.path(strName)); }

  OrvaTest::TempDir m_folder;
  ControlGroup m_group{m_folder.path()};
};

}  // namespace

TEST_F(ControlGroups, AreCreatedOnceAndListed) {
  const ControlGroup a = group().below("a");
  EXPECT_TRUE(a.create());
  EXPECT_FALSE(a.create());
  EXPECT_TRUE(group().below("b").create());
  EXPECT_THAT(group().groupsBelow(), SizeIs(2));
  EXPECT_EQ(a.parent().path(), group().path());
  EXPECT_THROW(group().below("missing").below("c").create(), Failure);
  EXPECT_THROW(group().below("missing").enter(), Failure);
}

TEST_F(ControlGroups, HaveTheProcessesThatEnterThem) {
  const ControlGroup below = group().below("below");
  below.create();
  EXPECT_FALSE(group().isPopulated());
  const pid_t pid = forkIn(below, [&] {
    if (ControlGroup::own().value().path() != below.path()) {
      _exit(1);
    }
  });
  EXPECT_THAT(below.members(), ElementsAre(pid));
  EXPECT_TRUE(below.has(pid));
  EXPECT_TRUE(below.isPopulated());
  EXPECT_THAT(group().members(), IsEmpty());
  EXPECT_FALSE(group().has(pid)) << "it is in a group below";
  EXPECT_TRUE(group().isPopulated());
  EXPECT_FALSE(below.has(getpid()));
}

TEST_F(ControlGroups, AreKilledWithAllBelow) {
  const ControlGroup below = group().below("below");
  below.create();
  for (const pid_t pid : {forkIn(group()), forkIn(below)}) {
    EXPECT_TRUE(group().kill());
    int iStatus = 0;
    ASSERT_EQ(waitpid(pid, &iStatus, 0), pid);
    EXPECT_EQ(iStatus, SIGKILL);
  }
  waitUntil([&] { return !group().isPopulated(); });
  EXPECT_FALSE(group().below("missing").kill());
}

TEST_F(ControlGroups, AreRemovedWithAllBelowWhenTheyAreEmpty) {
  const ControlGroup below = group().below("below");
  below.create();
  group().below("empty").create();
  const pid_t pid = forkIn(below);
  EXPECT_FALSE(group().remove());
  EXPECT_FALSE(std::filesystem::exists(group().below("empty").path()));
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  EXPECT_TRUE(group().remove());
  EXPECT_FALSE(std::filesystem::exists(group().path()));
  EXPECT_TRUE(group().remove()) << "it is gone";
}

TEST_F(ControlGroups, TellTheProcessorTimeAlsoOfProcessesThatHaveEnded) {
  constexpr std::clock_t TIME = CLOCKS_PER_SEC / 50;
  const pid_t pid = forkIn(group(), [] {
    for (const std::clock_t begin = std::clock(); std::clock() < begin + TIME;) {
    }
  });
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  const std::optional<std::uint64_t> used = group().usage().cpuMicroseconds;
  ASSERT_TRUE(used);
  EXPECT_GE(*used, 10'000U);
  EXPECT_LT(*used, 10'000'000U);
}

TEST_F(ControlGroups, LimitTheNumberOfProcesses) {
  group().parent().passOnControllers();
  if (!OrvaTest::fileExists(group().path() + "/pids.max")) {
    GTEST_SKIP() << "the kernel does not count processes in this group";
  }
  group().limitProcesses(1);
  const pid_t pid = forkIn(group(), [] {
    if (fork() >= 0) {
      _exit(1);
    }
  });
  EXPECT_THAT(group().members(), ElementsAre(pid));
}

TEST_F(FilesOfAGroup, TellTheUse) {
  write("cpu.stat", "usage_usec 1234567\nuser_usec 1000000\nsystem_usec 234567\n");
  write("memory.peak", "8589934592\n");
  write("io.stat",
        "8:0 rbytes=4096 wbytes=100 rios=1 wios=1 dbytes=0 dios=0\n"
        "259:1 rbytes=10 wbytes=20000000000 rios=1 wios=2 dbytes=0 dios=0\n");
  const ControlGroup::Usage usage = m_group.usage();
  EXPECT_EQ(usage.cpuMicroseconds, 1234567U);
  EXPECT_EQ(usage.cbPeakMemory, 8589934592U);
  EXPECT_EQ(usage.cbRead, 4106U);
  EXPECT_EQ(usage.cbWritten, 20000000100U);
}

TEST_F(FilesOfAGroup, TellNothingWhereTheKernelDoesNot) {
  write("cpu.stat", "nr_periods 0\n");
  write("io.stat", "");
  const ControlGroup::Usage usage = m_group.usage();
  EXPECT_FALSE(usage.cpuMicroseconds);
  EXPECT_FALSE(usage.cbPeakMemory);
  EXPECT_EQ(usage.cbRead, 0U) << "nothing was read";
  std::filesystem::remove(m_folder.path("io.stat"));
  EXPECT_FALSE(m_group.usage().cbRead);
}

TEST_F(FilesOfAGroup, GetTheLimitWhereThereIsOne) {
  EXPECT_NO_THROW(m_group.limitProcesses(5));
  EXPECT_FALSE(OrvaTest::fileExists(m_folder.path("pids.max")));
  write("pids.max", "");
  m_group.limitProcesses(4096);
  EXPECT_EQ(read("pids.max"), "4096");
  std::filesystem::remove(m_folder.path("pids.max"));
  std::filesystem::create_directory(m_folder.path("pids.max"));
  EXPECT_THROW(m_group.limitProcesses(5), Failure);
}

TEST_F(FilesOfAGroup, LimitTheMemoryWithoutSwap) {
  EXPECT_FALSE(m_group.limitMemory(5));
  EXPECT_FALSE(OrvaTest::fileExists(m_folder.path("memory.max")));
  write("memory.max", "");
  EXPECT_TRUE(m_group.limitMemory(67108864));
  EXPECT_EQ(read("memory.max"), "67108864");
  write("memory.swap.max", "");
  EXPECT_TRUE(m_group.limitMemory(67108864));
  EXPECT_EQ(read("memory.swap.max"), "0");
}

TEST_F(FilesOfAGroup, TellWhetherProcessesWereKilledAtTheMemoryLimit) {
  EXPECT_FALSE(m_group.usage().blOutOfMemory);
  write("memory.events", "low 0\nhigh 0\nmax 9\noom 0\noom_kill 1\n");
  EXPECT_FALSE(m_group.usage().blOutOfMemory) << "the server had no memory left";
  write("memory.events", "low 0\nhigh 0\nmax 9\noom 1\noom_kill 1\n");
  EXPECT_TRUE(m_group.usage().blOutOfMemory);
}

TEST_F(FilesOfAGroup, PassOnOnlyControllersThatDoNotChangeTheScheduling) {
  write("cgroup.controllers", "cpuset cpu hugetlb\n");
  write("cgroup.subtree_control", "");
  m_group.passOnControllers();
  EXPECT_EQ(read("cgroup.subtree_control"), "");
  for (const std::string strName : {"pids", "memory", "io"}) {
    write("cgroup.controllers", "cpu " + strName + " cpuset\n");
    write("cgroup.subtree_control", "");
    m_group.passOnControllers();
    EXPECT_EQ(read("cgroup.subtree_control"), "+" + strName);
  }
}
