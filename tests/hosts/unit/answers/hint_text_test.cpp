/// Remedies for failures in words.

#include "common/answers/hint_text.h"

#include <gtest/gtest.h>

using namespace Host;

TEST(HintText, FailureWithoutRemedyGetsNoWords) {
  EXPECT_EQ("", hintText(Failure("it failed").hint()));
}

TEST(HintText, NamesAreWordsOfTheShell) {
  EXPECT_EQ("; to rename the task, use: eorva task rename 'a task' NEW", hintText({Hint::RENAME_TASK, {"a task"}}));
  EXPECT_EQ("; set the tasks that it waits for with: eorva task edit a --after 'b c' --after='-d'",
            hintText({Hint::SET_WAITS_FOR, {"a", "b c", "-d"}}));
  EXPECT_EQ("; set the tasks that it waits for with: eorva task edit a --no-after",
            hintText({Hint::SET_WAITS_FOR, {"a"}}));
}
