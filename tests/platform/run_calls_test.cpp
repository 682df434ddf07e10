// The library's calls to a host that takes care of runs.

#include <cerrno>
#include <string_view>
#include <vector>

#include "orva_platform.h"

#include "platform_fixture.h"

using OrvaTest::PlatformTest;

namespace {

// A host that remembers its calls, and leaves an error of its own.
class RunCalls : public PlatformTest {
protected:
  ~RunCalls() override {
    ORVARunOnEnd(nullptr, nullptr);
    ORVARunOnWait(nullptr, nullptr);
  }
  static void onEnd(void* pContext, int iStatus) {
    static_cast<RunCalls*>(pContext)->m_calls.push_back(iStatus);
    errno = EPIPE;
  }
  static void onWait(void* pContext) { onEnd(pContext, WAITED); }

  static constexpr int WAITED = 4711;
  std::vector<int> m_calls;
};

TEST_F(RunCalls, DoNothingUnlessTheHostHasAsked) {
  errno = 0;
  ORVARunEnded(256);
  ORVARunWait();
  EXPECT_EQ(errno, 0);
}

TEST_F(RunCalls, ReachTheHostUntilItSwitchesThemOff) {
  ORVARunOnEnd(&onEnd, this);
  ORVARunOnWait(&onWait, this);
  ORVARunEnded(256);
  ORVARunWait();
  ORVARunEnded(-1);
  EXPECT_THAT(m_calls, testing::ElementsAre(256, WAITED, -1));
  ORVARunOnEnd(nullptr, nullptr);
  ORVARunOnWait(nullptr, nullptr);
  ORVARunEnded(0);
  ORVARunWait();
  EXPECT_EQ(m_calls.size(), 3U);
}

TEST_F(RunCalls, TheHostRunsTheShellWhenItHasAsked) {
  int iStatus = 7;
  EXPECT_EQ(ORVARunShell("true", &iStatus), 0);
  EXPECT_EQ(iStatus, 7);
  ORVARunOnShell([](void*, const char* szCommand) { return std::string_view(szCommand) == "true" ? 256 : 0; }, this);
  EXPECT_EQ(ORVARunShell("true", &iStatus), 1);
  EXPECT_EQ(iStatus, 256);
  ORVARunOnShell(nullptr, nullptr);
  EXPECT_EQ(ORVARunShell("true", &iStatus), 0);
}

// The library's next log line would end with it.
TEST_F(RunCalls, AnErrorOfTheHostIsNotSeen) {
  ORVARunOnEnd(&onEnd, this);
  ORVARunOnWait(&onWait, this);
  errno = EAGAIN;
  ORVARunEnded(-1);
  EXPECT_EQ(errno, EAGAIN);
  ORVARunWait();
  EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
