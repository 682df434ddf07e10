// Readable times.

#include <climits>
#include <clocale>
#include <cstdlib>
#include <time.h>

#include "record_store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ReadableTime : public testing::Test {
protected:
  void SetUp() override { setZone("UTC"); }

  void TearDown() override {
    unsetenv("TZ");
    tzset();
    EXPECT_THAT(takeLogLines(), IsEmpty());
  }

  static void setZone(const char* szZone) {
    setenv("TZ", szZone, 1);
    tzset();
  }

  static std::string rendered(long lTime, int iFormat) {
    std::string strOut = "replaced";
    EXPECT_EQ(0, ORVA_JSON_DB::convert2ReadableTime(lTime, strOut, iFormat));
    return strOut;
  }

  static std::string forTables(long lTime) { return rendered(lTime, ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS); }
  static std::string forMail(long lTime) { return rendered(lTime, ORVA_TIME_FORMAT_FOR_MAIL); }

  static void expectRefused(long lTime, int iFormat, const std::string& strReason, int iCode) {
    std::string strOut = "untouched";
    EXPECT_EQ(-1, ORVA_JSON_DB::convert2ReadableTime(lTime, strOut, iFormat));
    EXPECT_EQ("untouched", strOut);
    EXPECT_EQ(iCode, KLIBCErrGet());
    EXPECT_THAT(takeLogLines(), ElementsAre("3 orvaplatform: readable time: " + strReason));
  }
};

// 2026-11-20 09:57:01 in UTC.
constexpr long EXAMPLE = 1795168621;

}  // namespace

TEST_F(ReadableTime, ForTables) {
  EXPECT_EQ("2026-11-20 09:57:01", forTables(EXAMPLE));
  EXPECT_EQ("1970-01-01 00:00:00", forTables(0));
  EXPECT_EQ("2106-02-07 06:28:15", forTables(-1));
  EXPECT_EQ("2038-01-19 03:14:07", forTables(INT_MAX));
  EXPECT_EQ("2038-01-19 03:14:08", forTables(INT_MIN));
}

TEST_F(ReadableTime, ForMail) {
  EXPECT_EQ("Fri, 20 Nov 2026 09:57:01 +0000", forMail(EXAMPLE));
  EXPECT_EQ("Thu, 01 Jan 1970 00:00:00 +0000", forMail(0));
}

TEST_F(ReadableTime, IsLocalTime) {
  setZone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ("2026-11-20 10:57:01", forTables(EXAMPLE));
  EXPECT_EQ("Fri, 20 Nov 2026 10:57:01 +0100", forMail(EXAMPLE));
  constexpr long SUMMER = 1784541421;
  EXPECT_EQ("Mon, 20 Jul 2026 11:57:01 +0200", forMail(SUMMER));
}

TEST_F(ReadableTime, ZonesWestOfGreenwichAndOffTheHour) {
  setZone("NST3:30");
  EXPECT_EQ("Fri, 20 Nov 2026 06:27:01 -0330", forMail(EXAMPLE));
  setZone("AAA-0:30");
  EXPECT_EQ("Fri, 20 Nov 2026 10:27:01 +0030", forMail(EXAMPLE));
  setZone("AAA0:30");
  EXPECT_EQ("Fri, 20 Nov 2026 09:27:01 -0030", forMail(EXAMPLE));
}

TEST_F(ReadableTime, NamesEveryMonthAndDayInEnglishWhateverTheLocale) {
  std::setlocale(LC_ALL, "de_DE.UTF-8");
  std::string strMonths;
  for (int iMonth = 0; iMonth < 12; ++iMonth) {
    strMonths += forMail(1768003200 + iMonth * 30L * 86400).substr(8, 3);
  }
  EXPECT_EQ("JanFebMarAprMayJunJulAugSepOctNovDec", strMonths);
  std::string strDays;
  for (int iDay = 0; iDay < 7; ++iDay) {
    strDays += forMail(iDay * 86400L).substr(0, 3);
  }
  EXPECT_EQ("ThuFriSatSunMonTueWed", strDays);
  std::setlocale(LC_ALL, "C");
}

TEST_F(ReadableTime, UnknownFormatIsRefused) {
  for (const int iFormat : {-1, 0, 1, 3, 5, INT_MAX}) {
    expectRefused(EXAMPLE, iFormat, "unknown format " + std::to_string(iFormat), EINVAL);
  }
}

TEST_F(ReadableTime, TimeBeyondFourDigitYearsIsRefused) {
  EXPECT_EQ("9999-12-31 23:59:59", forTables(253402300799));
  expectRefused(253402300800, ORVA_TIME_FORMAT_FOR_MAIL, "253402300800 is out of range", EOVERFLOW);
  EXPECT_EQ("0000-01-01 00:00:00", forTables(-62167219200));
  expectRefused(-62167219201, ORVA_TIME_FORMAT_FOR_MAIL, "-62167219201 is out of range", EOVERFLOW);
  expectRefused(LONG_MAX, ORVA_TIME_FORMAT_FOR_MAIL, std::to_string(LONG_MAX) + " is out of range", EOVERFLOW);
  expectRefused(LONG_MIN, ORVA_TIME_FORMAT_FOR_MAIL, std::to_string(LONG_MIN) + " is out of range", EOVERFLOW);
}
