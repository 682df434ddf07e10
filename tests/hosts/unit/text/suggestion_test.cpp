#include "common/text/suggestion.h"

#include <gtest/gtest.h>

namespace {

struct Case {
  const char* szTyped;
  const char* szMeant;
};

TEST(Suggestion, SlipsOfTheFingersAreUnderstood) {
  const std::vector<std::string> vecKnown = {"task",    "list",   "disk-usage",     "bootup",
                                             "--json",  "--help", "retention_runs", "retention_failed_runs",
                                             "shutdown"};
  for (const auto& [szTyped, szMeant] :
       {Case{"tsk", "task"}, Case{"lst", "list"}, Case{"disk-usge", "disk-usage"}, Case{"disk_usage", "disk-usage"},
        Case{"bootp", "bootup"}, Case{"retention_run", "retention_runs"}, Case{"--jsn", "--json"},
        Case{"--hlep", "--help"}, Case{"Shutdown", "shutdown"}}) {
    EXPECT_EQ(Host::didYouMean(szTyped, vecKnown), std::string("; did you mean \"") + szMeant + "\"?") << szTyped;
  }
}

TEST(Suggestion, NothingIsGuessedWhereNothingIsLikeIt) {
  for (const char* szTyped : {"", "x", "nonsense", "frobnicate", "hourly"}) {
    EXPECT_EQ(Host::didYouMean(szTyped, {"task", "run", "on", "", "disk-usage"}), "") << szTyped;
  }
  EXPECT_EQ(Host::didYouMean(std::string(100000, 'a'), {std::string(100000, 'b')}), "");
}

TEST(Suggestion, EquallySimilarNamesAreSuggestedTogether) {
  EXPECT_EQ(Host::didYouMean("task3", {"task1", "other", "task2"}), "; did you mean \"task1\" or \"task2\"?");
  EXPECT_EQ(Host::didYouMean("task9", {"task1", "task2", "task3", "task4"}),
            "; did you mean \"task1\" or \"task2\" or \"task3\"?");
  EXPECT_EQ(Host::didYouMean("taskk1", {"task2", "task1"}), "; did you mean \"task1\"?");
}

}  // namespace
