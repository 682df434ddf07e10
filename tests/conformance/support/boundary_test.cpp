// The boundary of the library: an exception becomes a log line and a result.

#include "support/boundary.h"

#include <json/value.h>
#include <new>
#include <stdexcept>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_LIB;

class Boundary : public EorvaTest {};

}  // namespace

TEST_F(Boundary, HandsTheResultThrough) {
  for (const int iValue : {-2, -1, 0, 1, 4711}) {
    EXPECT_EQ(GUARDED([&] { return iValue; }), iValue);
  }
}

TEST_F(Boundary, ExceptionBecomesItsTextAndMinus1) {
  expectLine("operation given up: the reason", LIB);
  EXPECT_EQ(GUARDED([]() -> int { throw std::runtime_error("the reason"); }), -1);
}

TEST_F(Boundary, MemoryThatRanOutIsAFailureToo) {
  expectLine("operation given up: std::bad_alloc", LIB);
  EXPECT_EQ(GUARDED([]() -> int { throw std::bad_alloc(); }), -1);
}

TEST_F(Boundary, ValueThatIsReadAsAnotherTypeIsAFailure) {
  const Json::Value jText("text");
  expectLine("operation given up: ", LIB).beginning();
  EXPECT_EQ(GUARDED([&] { return jText["key"].asInt(); }), -1);
  expectLine("operation given up: ", LIB).beginning();
  EXPECT_EQ(GUARDED([&] { return jText.asInt(); }), -1);
}

TEST_F(Boundary, OtherThrownTypesAreCaughtToo) {
  expectLine("operation given up: unknown exception", LIB);
  EXPECT_EQ(GUARDED([]() -> int { throw 42; }), -1);
}

TEST_F(Boundary, ResultOfAFailureHasTheOperationsType) {
  expectLine("operation given up: no handle", UTIL);
  int iTarget = 0;
  EXPECT_EQ(Orva::guarded(UTIL, 9, static_cast<int*>(nullptr),
                          [&]() -> int* {
                            if (iTarget == 0) {
                              throw std::runtime_error("no handle");
                            }
                            return &iTarget;
                          }),
            nullptr);
}

TEST_F(Boundary, LastLineFollowsEveryFailure) {
  const auto end = [](int iResult) {
    return GUARDED_WITH_LAST_LINE([&] { return iResult; }, [] { Orva::logLine(LOG_SOURCE, __LINE__, "the end"); });
  };
  for (const int iValue : {-2, 0, 1}) {
    EXPECT_EQ(end(iValue), iValue);
  }
  expectLine("the end", LIB);
  EXPECT_EQ(end(-1), -1);
}

TEST_F(Boundary, LastLineFollowsAnException) {
  expectLine("operation given up: the reason", LIB);
  expectLine("the end", LIB);
  EXPECT_EQ(GUARDED_WITH_LAST_LINE([]() -> int { throw std::runtime_error("the reason"); },
                                   [] { Orva::logLine(LOG_SOURCE, __LINE__, "the end"); }),
            -1);
}

TEST_F(Boundary, LastLineThatCannotBeMadeIsAFailureToo) {
  expectLine("operation given up: std::bad_alloc", LIB);
  EXPECT_EQ(GUARDED_WITH_LAST_LINE([] { return -1; }, [] { throw std::bad_alloc(); }), -1);
}
