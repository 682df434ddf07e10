/// The groups of an execution where systemd does not run: below that of its starter.

#include "common/executions/execution_group.h"

#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/control_group.h"
#include "held_run.h"
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

  std::optional<HostTest::TestGroup> m_test;
};

}  // namespace

TEST_F(GroupsOfAnExecution, AreThatOfTheWatchAndThoseOfRuns) {
  inChild([&] {
    const std::string strUnit = enterExecutionGroup({}, "12-5.6");
    EXPECT_EQ(strUnit, path() + "/eorva-12-5.6");
    EXPECT_EQ(ControlGroup::own().value().path(), strUnit + "/watch");
    EXPECT_THAT(populatedRuns(strUnit), IsEmpty());
    const HeldRun run(strUnit, "read go");
    EXPECT_THAT(populatedRuns(strUnit), ElementsAre(strUnit + "/" + run.groupName()));
  });
}

TEST_F(GroupsOfAnExecution, AreLeftAndGoWithTheLastProcess) {
  inChild([&] {
    const std::string strUnit = enterExecutionGroup({}, "12-5.6");
    {
      const HeldRun run(strUnit, "read go");
      EXPECT_FALSE(leaveExecutionGroup(strUnit)) << "somebody has to remove it later";
    }
    EXPECT_TRUE(leaveExecutionGroup(strUnit));
    EXPECT_EQ(ControlGroup::own().value().path(), path());
    EXPECT_FALSE(std::filesystem::exists(strUnit));
  });
}

TEST_F(GroupsOfAnExecution, WithoutSystemdAServiceHasGroupsLikeAllOthers) {
  inChild([&] {
    enterServiceGroup();
    EXPECT_EQ(ControlGroup::own().value().path(), path());
    ExecutionRequest request;
    request.blService = true;
    EXPECT_EQ(enterExecutionGroup(request, "12-5.6"), path() + "/eorva-12-5.6");
    EXPECT_EQ(ControlGroup::own().value().path(), path() + "/eorva-12-5.6/watch");
  });
}

TEST_F(GroupsOfAnExecution, ExecutionWithoutAGroupLeavesNone) {
  EXPECT_TRUE(leaveExecutionGroup(""));
}
