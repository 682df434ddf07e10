/// \file run_holding.h
/// Tests for both ways to hold a run: in a control group, and in a session alone.

#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "test_group.h"

namespace HostTest {

enum class Holding { GROUP, SESSION };

class RunHolding : public testing::TestWithParam<Holding> {
protected:
  void SetUp() override {
    if (GetParam() == Holding::GROUP) {
      if (const std::string strWhy = TestGroup::whyNone(); !strWhy.empty()) {
        GTEST_SKIP() << strWhy;
      }
      m_group.emplace();
    }
  }

  /// The folder of the group for runs; empty for none.
  std::string unit() const { return m_group ? m_group->path() : std::string(); }

private:
  std::optional<TestGroup> m_group;
};

inline std::string holdingName(const testing::TestParamInfo<Holding>& testInfo) {
  return testInfo.param == Holding::GROUP ? "InAGroup" : "InASession";
}

inline auto bothHoldings() {
  return testing::Values(Holding::GROUP, Holding::SESSION);
}

}  // namespace HostTest
