#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/fakes.h"
#include "fakes/log_lines.h"
#include "support/processes.h"

namespace OrvaTest {

namespace {

constexpr int CALLS_AT_MOST = 2000;

void verifyRound(const std::map<int, std::string>& descriptors) {
  for (const LogLine& line : parseLog(fakes().journal().entries())) {
    EXPECT_NE(line.form, LogLine::Form::MALFORMED) << line;
  }
  EXPECT_THAT(children(), ::testing::IsEmpty()) << "children that nobody reaped";
  endChildren();
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(fakes().cHeld, 0) << "platform objects that were not freed";
}

}  // namespace

int failEachCall(const std::function<void()>& prepare, const std::function<void()>& operation, bool blInChild) {
  for (int iCall = 1; iCall <= CALLS_AT_MOST; ++iCall) {
    SCOPED_TRACE("without call " + std::to_string(iCall) + " of those that can fail");
    fakes().reset();
    prepare();
    fakes().forgetCalls();
    const auto descriptors = openDescriptors();
    Rule& rule = fakes().failNthCall(iCall);
    if (blInChild) {
      rule.inChild();
    }
    operation();
    fakes().clearFaults();
    verifyRound(descriptors);
    if (fakes().faults() == 0) {
      return iCall - 1;
    }
  }
  ADD_FAILURE() << "the operation makes more than " << CALLS_AT_MOST << " calls";
  return CALLS_AT_MOST;
}

}  // namespace OrvaTest
