/// The groups of an execution where systemd does not run: below that of its starter.

#include "common/executions/execution_group.h"

#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

#include "common/coordination/execution_file.h"
#include "common/support/control_group.h"
#include "fresh_host.h"
#include "held_run.h"
#include "support/files.h"
#include "test_group.h"

using namespace Host;
using HostTest::HeldRun;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class GroupsOfAnExecution : public testing::Test {
protected:
  void SetUp() override {
    if (const std::string strWhy = HostTest::TestGroup::whyNone(); !strWhy.empty()) {
      GTEST_SKIP() << strWhy;
    }
    m_test.emplace();
    HostTest::freshHost();
    m_file.emplace(Json::Int64{0}, Json::Int64{0});
  }

  /// The calling process moves, so it is a child of the test, which begins in the group of the test.
  void inChild(const std::function<void()>& fnTest) {
    const pid_t pid = fork();
    if (pid == 0) {
      m_test->group().enter();
      fnTest();
      std::fflush(nullptr);
      _exit(HasFailure() ? 1 : 0);
    }
    int iStatus = -1;
    ASSERT_EQ(waitpid(pid, &iStatus, 0), pid);
    EXPECT_EQ(iStatus, 0);
  }

  const std::string& path() const { return m_test->path(); }

  /// The folder of the execution's group, when it has one.
  std::string unit() const { return path() + "/eorva-" + std::filesystem::path(m_file->path()).filename().string(); }

  const std::string& notedGroup() {
    m_file->update();
    return m_file->notes().strGroup;
  }

  std::optional<HostTest::TestGroup> m_test;
  std::optional<ExecutionFile> m_file;
};

}  // namespace

TEST_F(GroupsOfAnExecution, AreThatOfTheWatchAndThoseOfRuns) {
  inChild([&] {
    enterExecutionGroup({}, *m_file);
    EXPECT_EQ(notedGroup(), unit());
    EXPECT_EQ(ControlGroup::own().value().path(), unit() + "/watch");
    EXPECT_THAT(populatedRuns(unit()), IsEmpty());
    const HeldRun run(unit(), "read go");
    EXPECT_THAT(populatedRuns(unit()), ElementsAre(unit() + "/" + run.groupName()));
  });
}

TEST_F(GroupsOfAnExecution, AreLeftAndGoWithTheLastProcess) {
  inChild([&] {
    enterExecutionGroup({}, *m_file);
    {
      const HeldRun run(unit(), "read go");
      EXPECT_FALSE(leaveExecutionGroup(unit())) << "somebody has to remove it later";
    }
    EXPECT_TRUE(leaveExecutionGroup(unit()));
    EXPECT_EQ(ControlGroup::own().value().path(), path());
    EXPECT_FALSE(std::filesystem::exists(unit()));
  });
}

/// Otherwise nobody would remove that of a watch that was killed just then.
TEST_F(GroupsOfAnExecution, AreNotedBeforeTheyExist) {
  OrvaTest::writeFile(path() + "/cgroup.max.descendants", "0");
  inChild([&] {
    enterExecutionGroup({}, *m_file);
    EXPECT_THAT(OrvaTest::readFile(m_file->path()), testing::HasSubstr("\ngroup " + unit() + "\n"));
    EXPECT_EQ(notedGroup(), "");
    EXPECT_EQ(ControlGroup::own().value().path(), path());
  });
}

TEST_F(GroupsOfAnExecution, WithoutSystemdAServiceHasGroupsLikeAllOthers) {
  inChild([&] {
    enterServiceGroup();
    EXPECT_EQ(ControlGroup::own().value().path(), path());
    ExecutionRequest request;
    request.blService = true;
    enterExecutionGroup(request, *m_file);
    EXPECT_EQ(notedGroup(), unit());
    EXPECT_EQ(ControlGroup::own().value().path(), unit() + "/watch");
  });
}

TEST_F(GroupsOfAnExecution, ExecutionWithoutAGroupLeavesNone) {
  EXPECT_TRUE(leaveExecutionGroup(""));
}
