/// Remedies for failures in words.

#include "common/answers/hint_text.h"

#include <gtest/gtest.h>

using namespace Host;

TEST(HintText, FailureWithoutRemedyGetsNoWords) {
  EXPECT_EQ("", hintText(Failure("it failed").hint()));
}

TEST(HintText, UnknownEventCanBeAdded) {
  EXPECT_EQ("\nto create the event, use: eorva event add 'my event'; or add --any-event",
            hintText({Hint::ALLOW_ANY_EVENT, {"my event"}}));
  EXPECT_EQ("; to add it, use: eorva event add inbox", hintText({Hint::ADD_EVENT, {"inbox"}}));
  EXPECT_EQ(
      "; to fire it at some time, use: eorva event add 'my event' --at CALENDAR; any other unit can start "
      "eorva-event@my\\x20event.service: see eorva-events(7)",
      hintText({Hint::ADD_EVENT_AT, {"my event"}}));
}

TEST(HintText, EventCanBeChanged) {
  EXPECT_EQ("; to change it, use: eorva event edit nightly", hintText({Hint::EDIT_EVENT, {"nightly"}}));
  EXPECT_EQ("; to set them, use: eorva event edit nightly --at CALENDAR", hintText({Hint::SET_TIMES, {"nightly"}}));
  EXPECT_EQ("; to start or stop firing it, use: eorva event enable daily or eorva event disable daily",
            hintText({Hint::SWITCH_EVENT, {"daily"}}));
}

TEST(HintText, NamesAreWordsOfTheShell) {
  EXPECT_EQ("; to rename the task, use: eorva task rename 'a task' NEW", hintText({Hint::RENAME_TASK, {"a task"}}));
  EXPECT_EQ("; set the tasks that it waits for with: eorva task edit a --after 'b c' --after='-d'",
            hintText({Hint::SET_WAITS_FOR, {"a", "b c", "-d"}}));
  EXPECT_EQ("; set the tasks that it waits for with: eorva task edit a --no-after",
            hintText({Hint::SET_WAITS_FOR, {"a"}}));
}
