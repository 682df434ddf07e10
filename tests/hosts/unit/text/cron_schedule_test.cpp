#include "common/text/cron_schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/support/failure.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(CronSchedule, EachFieldIsTranslated) {
  const std::pair<const char*, const char*> cases[] = {
      {"* * * * *", "*-*-* *:*:00"},
      {"30 2 * * *", "*-*-* 02:30:00"},
      {"  30\t2  * *\t*  ", "*-*-* 02:30:00"},
      {"*/15 * * * *", "*-*-* *:00/15:00"},
      {"*/14 * * * *", "*-*-* *:00,14,28,42,56:00"},
      {"5-59/10 * * * *", "*-*-* *:05,15,25,35,45,55:00"},
      {"0 8-18/2 * * *", "*-*-* 08,10,12,14,16,18:00:00"},
      {"0,30 0-3,22 * * *", "*-*-* 00..03,22:00,30:00"},
      {"17 * 1,15 * *", "*-*-01,15 *:17:00"},
      {"0 0 1 */3 *", "*-01/3-01 00:00:00"},
      {"0 0 1 jan-mar,DEC *", "*-01..03,12-01 00:00:00"},
      {"25 6 * * 7", "Sun *-*-* 06:25:00"},
      {"25 6 * * 0", "Sun *-*-* 06:25:00"},
      {"25 6 * * mon-fri", "Mon..Fri *-*-* 06:25:00"},
      {"25 6 * * 0-7", "*-*-* 06:25:00"},
      {"25 6 * * 5-7", "Fri..Sun *-*-* 06:25:00"},
      {"25 6 * * */2", "Tue,Thu,Sat..Sun *-*-* 06:25:00"},
      // A star does not restrict the day, even with a step: then both fields count.
      {"0 0 */2 * 1", "Mon *-*-01,03,05,07,09,11,13,15,17,19,21,23,25,27,29,31 00:00:00"},
      {"0 0 1 * */2", "Tue,Thu,Sat..Sun *-*-01 00:00:00"},
      // Every day of the month matches, so the weekday does not matter.
      {"0 0 1-31 * 1", "*-*-* 00:00:00"},
      {"0 0 1 * 0-6", "*-*-* 00:00:00"},
      {"@hourly", "*-*-* *:00:00"},
      {"@daily", "*-*-* 00:00:00"},
      {"@midnight", "*-*-* 00:00:00"},
      {"@weekly", "Sun *-*-* 00:00:00"},
      {"@monthly", "*-*-01 00:00:00"},
      {"@yearly", "*-01-01 00:00:00"},
      {"@annually", "*-01-01 00:00:00"},
  };
  for (const auto& [szCron, szCalendar] : cases) {
    EXPECT_THAT(calendarsOfCron(szCron), ElementsAre(szCalendar)) << szCron;
  }
}

TEST(CronSchedule, TwoRestrictedDayFieldsMatchOnEither) {
  EXPECT_THAT(calendarsOfCron("57 0 1-7 * 0"), ElementsAre("*-*-01..07 00:57:00", "Sun *-*-* 00:57:00"));
}

TEST(CronSchedule, EverythingElseIsRefused) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "\"\" is no schedule: it has 0 of 5 fields"},
      {"1 2 3", "\"1 2 3\" is no schedule: it has 3 of 5 fields"},
      {"@reboot", "\"@reboot\" is not a valid minute"},
      {"60 * * * *", "\"60\" is not a valid minute"},
      {"-1 * * * *", "\"-1\" is not a valid minute"},
      {"* 24 * * *", "\"24\" is not a valid hour"},
      {"* * 0 * *", "\"0\" is not a valid day of the month"},
      {"* * 32 * *", "\"32\" is not a valid day of the month"},
      {"* * * 13 *", "\"13\" is not a valid month"},
      {"* * * anm *", "\"anm\" is not a valid month"},
      {"* * * january *", "\"january\" is not a valid month"},
      {"* * * * 8", "\"8\" is not a valid day of the week"},
      {"* * * * fri-mon", "\"fri-mon\" is not a valid day of the week"},
      {"5/15 * * * *", "\"5/15\" is not a valid minute"},
      {"*/0 * * * *", "\"*/0\" is not a valid minute"},
      {"*/x * * * *", "\"*/x\" is not a valid minute"},
      {"1-2-3 * * * *", "\"1-2-3\" is not a valid minute"},
      {"1-9/2/2 * * * *", "\"1-9/2/2\" is not a valid minute"},
      {"1,,2 * * * *", "\"\" is not a valid minute"},
      {"99999999999999999999 * * * *", "\"99999999999999999999\" is not a valid minute"},
  };
  for (const auto& [szCron, szError] : cases) {
    try {
      EXPECT_THAT(calendarsOfCron(szCron), ElementsAre()) << szCron;
    } catch (const Failure& error) {
      EXPECT_STREQ(error.what(), szError);
    }
  }
}
