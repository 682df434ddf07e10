/// Owners of tasks that are looked up before a run.

#include "common/tasks/task_owner.h"

#include <gtest/gtest.h>

#include "common/reasons/firing.h"

using namespace Host;

TEST(TaskOwner, UserWhoIsThereIsNoProblem) {
  EXPECT_FALSE(OwnerCheck().problemOf(0, "root"));
  EXPECT_TRUE(OwnerCheck().problemOf(0, "toor"));
}

TEST(TaskOwner, MissingOwnerOfADisabledTaskIsNoFailureOfItsEvent) {
  const Reason noOwner{"no_owner", "", Json::objectValue};
  EXPECT_TRUE((LeftOut{"one", {noOwner}}.isFailure()));
  EXPECT_FALSE((LeftOut{"one", {{"disabled", "", Json::objectValue}, noOwner}}.isFailure()));
}
