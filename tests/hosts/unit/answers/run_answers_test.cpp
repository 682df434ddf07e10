/// Runs as programs get them.

#include "common/answers/run_answers.h"

#include <csignal>
#include <gtest/gtest.h>

#include "common/text/json_members.h"

using namespace Host;

namespace {

Json::Value answered(const Json::Value& jRun) {
  return runForPrograms(jRun);
}

Json::Value endOf(int iStatus) {
  return answered(objectOf({{"stop_time", 2}, {"shell_status", iStatus}}))["end"];
}

}  // namespace

TEST(RunAnswers, TellHowTheScriptEnded) {
  EXPECT_EQ(endOf(0), objectOf({{"exit", 0}}));
  EXPECT_EQ(endOf(128 << 8), objectOf({{"exit", 128}}));
  EXPECT_EQ(endOf(137 << 8), objectOf({{"signal", SIGKILL}, {"name", "SIGKILL"}}));
  EXPECT_EQ(endOf(SIGTERM), objectOf({{"signal", SIGTERM}, {"name", "SIGTERM"}}));
  EXPECT_EQ(endOf(32), objectOf({{"signal", 32}, {"name", Json::Value()}}));
  EXPECT_EQ(endOf(-1), objectOf({{"not_started", true}}));
  EXPECT_EQ(answered(objectOf({{"stop_time", 2}}))["end"], Json::Value());
}

TEST(RunAnswers, TellWhatTheRunCost) {
  const Json::Value jRun = answered(objectOf(
      {{"task_name", "a"}, {"cpu_usec", 12'345}, {"memory_peak", 4096}, {"io_read", 0}, {"io_written", 8192}}));
  EXPECT_EQ(jRun["cpu_seconds"], 0.012345);
  EXPECT_EQ(jRun["memory_peak"], 4096);
  EXPECT_EQ(jRun["io_read"], 0);
  EXPECT_EQ(jRun["io_written"], 8192);
}

TEST(RunAnswers, HaveAllMembersAlsoWhenTheyAreNotKnown) {
  const Json::Value jRun = answered(objectOf({{"shell_status", 0}, {"cpu_usec", 0}}));
  for (const char* szKey : {"memory_peak", "io_read", "io_written", "duration", "owner", "owner_name"}) {
    EXPECT_TRUE(jRun.isMember(szKey) && jRun[szKey].isNull()) << szKey;
  }
  for (const char* szStored : {"shell_status", "cpu_usec"}) {
    EXPECT_FALSE(jRun.isMember(szStored)) << szStored;
  }
}
