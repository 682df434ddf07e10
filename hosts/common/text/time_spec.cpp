#include "time_spec.h"

#include <array>
#include <charconv>
#include <string_view>

namespace Host {

namespace {

struct Unit {
  std::string_view strNames;  ///< each between blanks
  std::time_t cSeconds;
};

constexpr std::time_t MINUTE = 60;
constexpr std::time_t HOUR = 60 * MINUTE;
constexpr std::time_t DAY = 24 * HOUR;

constexpr std::array<Unit, 5> UNITS = {{{" s sec second seconds ", 1},
                                        {" m min minute minutes ", MINUTE},
                                        {" h hour hours ", HOUR},
                                        {" d day days ", DAY},
                                        {" w week weeks ", 7 * DAY}}};

void skipBlanks(std::string_view& strText) {
  while (!strText.empty() && strText.front() == ' ') {
    strText.remove_prefix(1);
  }
}

std::optional<std::time_t> takeNumber(std::string_view& strText) {
  // Larger numbers could overflow.
  constexpr std::time_t MAX_NUMBER = 100'000'000'000;
  std::time_t value = 0;
  const auto [pEnd, code] = std::from_chars(strText.data(), strText.data() + strText.size(), value);
  if (code != std::errc() || value < 0 || value > MAX_NUMBER) {
    return std::nullopt;
  }
  strText.remove_prefix(static_cast<std::size_t>(pEnd - strText.data()));
  return value;
}

std::optional<std::time_t> takeUnit(std::string_view& strText) {
  std::size_t cb = 0;
  while (cb < strText.size() && strText[cb] >= 'a' && strText[cb] <= 'z') {
    ++cb;
  }
  const std::string strWord = " " + std::string(strText.substr(0, cb)) + " ";
  strText.remove_prefix(cb);
  for (const Unit& unit : UNITS) {
    if (cb > 0 && unit.strNames.find(strWord) != std::string_view::npos) {
      return unit.cSeconds;
    }
  }
  return std::nullopt;
}

/// "1d 12h", also with " ago" or "-".
std::optional<std::time_t> readDuration(std::string_view strText) {
  constexpr std::string_view AGO = " ago";
  if (strText.ends_with(AGO)) {
    strText.remove_suffix(AGO.size());
  } else if (strText.starts_with('-')) {
    strText.remove_prefix(1);
  }
  std::time_t cSeconds = 0;
  do {
    const std::optional<std::time_t> number = takeNumber(strText);
    skipBlanks(strText);
    const std::optional<std::time_t> unit = number ? takeUnit(strText) : std::nullopt;
    if (!unit) {
      return std::nullopt;
    }
    cSeconds += *number * *unit;
    skipBlanks(strText);
  } while (!strText.empty());
  return cSeconds;
}

std::tm localTime(std::time_t now) {
  std::tm time{};
  localtime_r(&now, &time);
  // mktime() decides about summer time at that time, not now.
  time.tm_isdst = -1;
  return time;
}

std::time_t dayBegin(std::time_t now, int cDays) {
  std::tm time = localTime(now);
  time.tm_sec = time.tm_min = time.tm_hour = 0;
  time.tm_mday += cDays;
  return std::mktime(&time);
}

std::optional<std::time_t> readCalendar(const std::string& strText, std::time_t now) {
  constexpr std::array<const char*, 7> FORMS = {
      "%Y-%m-%d %H:%M:%S", "%Y-%m-%d %H:%M", "%Y-%m-%dT%H:%M:%S", "%Y-%m-%dT%H:%M", "%Y-%m-%d", "%H:%M:%S", "%H:%M"};
  for (const char* szForm : FORMS) {
    std::tm time = localTime(now);
    time.tm_sec = time.tm_min = time.tm_hour = 0;
    const char* const pEnd = strptime(strText.c_str(), szForm, &time);
    if (pEnd == nullptr || *pEnd != '\0') {
      continue;
    }
    time.tm_isdst = -1;
    const int iDay = time.tm_mday;
    const std::time_t result = std::mktime(&time);
    // Refuses 31 February, which mktime() takes for a day in March.
    return time.tm_mday == iDay ? std::optional(result) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::time_t> readTimeSpec(const std::string& strText, std::time_t now) {
  if (strText == "now") {
    return now;
  }
  if (strText == "today" || strText == "yesterday" || strText == "tomorrow") {
    return dayBegin(now, strText == "today" ? 0 : (strText == "yesterday" ? -1 : 1));
  }
  if (strText.starts_with('@')) {
    std::string_view strRest = std::string_view(strText).substr(1);
    const std::optional<std::time_t> seconds = takeNumber(strRest);
    return strRest.empty() ? seconds : std::nullopt;
  }
  if (const std::optional<std::time_t> cSeconds = readDuration(strText)) {
    return now - *cSeconds;
  }
  return readCalendar(strText, now);
}

}  // namespace Host
