/// Calendar expressions, from the real systemd-analyze.

#include "common/server/systemd_calendar.h"

#include <gmock/gmock.h>

using namespace Host;
using testing::HasSubstr;

TEST(Calendar, RightOnesArePassed) {
  for (const char* szCalendar :
       {"daily", "Mon..Fri 22:30", "*-*-1/2 3:00:00", "Sat,Sun *-*-* 10:00 Europe/Berlin", "*:0/15"}) {
    EXPECT_EQ("", whyNotCalendarText(szCalendar)) << szCalendar;
    EXPECT_EQ("", readCalendar(szCalendar).strWhyNot) << szCalendar;
    EXPECT_FALSE(readCalendar(szCalendar).blOver) << szCalendar;
  }
}

TEST(Calendar, SystemdTellsWhatIsWrong) {
  EXPECT_EQ("Failed to parse calendar specification 'often': Invalid argument", readCalendar("often").strWhyNot);
  EXPECT_THAT(readCalendar("--version").strWhyNot, HasSubstr("--version"));
}

TEST(Calendar, PastTimesAreOver) {
  EXPECT_TRUE(readCalendar("2020-01-01").blOver);
}
