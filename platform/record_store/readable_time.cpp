#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <time.h>

#include "orva_platform.h"

#include "record_store/failure.h"
#include "support/last_error.h"
#include "support/log.h"

namespace {

constexpr int FIRST_YEAR_OF_TM = 1900;
constexpr int LAST_YEAR = 9999;
constexpr long FIRST_STORED = std::numeric_limits<std::int32_t>::min();
constexpr time_t STORED_TIMES = time_t{1} << 32;
constexpr long SECONDS_PER_MINUTE = 60;
constexpr long MINUTES_PER_HOUR = 60;

// The date in a mail is in English on every server.
constexpr std::array<const char*, 7> DAYS{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr std::array<const char*, 12> MONTHS{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::string forMail(const tm& time) {
  const long lMinutes = time.tm_gmtoff / SECONDS_PER_MINUTE;
  const long lDistance = lMinutes < 0 ? -lMinutes : lMinutes;
  return fmt::format("{}, {:02} {} {:04} {:02}:{:02}:{:02} {}{:02}{:02}", DAYS[static_cast<std::size_t>(time.tm_wday)],
                     time.tm_mday, MONTHS[static_cast<std::size_t>(time.tm_mon)], time.tm_year + FIRST_YEAR_OF_TM,
                     time.tm_hour, time.tm_min, time.tm_sec, lMinutes < 0 ? '-' : '+', lDistance / MINUTES_PER_HOUR,
                     lDistance % MINUTES_PER_HOUR);
}

std::string forTables(const tm& time) {
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", time.tm_year + FIRST_YEAR_OF_TM, time.tm_mon + 1,
                     time.tm_mday, time.tm_hour, time.tm_min, time.tm_sec);
}

bool hasRendering(const tm& time) {
  return time.tm_year >= -FIRST_YEAR_OF_TM && time.tm_year <= LAST_YEAR - FIRST_YEAR_OF_TM;
}

}  // namespace

int ORVA_JSON_DB::convert2ReadableTime(long lTime, std::string& strOut, int iFormat) {
  // Stored times have 32 bits, so from 2038 on they continue below 0. No time before 1970 is stored.
  const time_t iTime = lTime < 0 && lTime >= FIRST_STORED ? lTime + STORED_TIMES : lTime;
  tm time{};
  if (localtime_r(&iTime, &time) == nullptr || !hasRendering(time)) {
    SET_LAST_ERROR(EOVERFLOW);
    logError("readable time: %ld is out of range", lTime);
    return -1;
  }
  switch (iFormat) {
    case ORVA_TIME_FORMAT_FOR_MAIL:
      strOut = forMail(time);
      return 0;
    case ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS:
      strOut = forTables(time);
      return 0;
    default:
      SET_LAST_ERROR(EINVAL);
      logError("readable time: unknown format %d", iFormat);
      return -1;
  }
}
