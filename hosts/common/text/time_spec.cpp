#include "time_spec.h"

#include <array>
#include <string_view>

#include "duration.h"
#include "number_spec.h"

namespace Host {

namespace {

/// "1d 12h", also with " ago" or "-". A number alone is no time.
std::optional<std::time_t> readDuration(std::string_view strText) {
  constexpr std::string_view AGO = " ago";
  if (strText.ends_with(AGO)) {
    strText.remove_suffix(AGO.size());
  } else if (strText.starts_with('-')) {
    strText.remove_prefix(1);
  }
  return numberFrom(strText) ? std::nullopt : durationFrom(strText);
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
    constexpr std::uint64_t LATEST = 100'000'000'000;
    const std::optional<std::uint64_t> seconds = numberFrom(std::string_view(strText).substr(1));
    return seconds && *seconds <= LATEST ? std::optional(static_cast<std::time_t>(*seconds)) : std::nullopt;
  }
  if (const std::optional<std::time_t> cSeconds = readDuration(strText)) {
    return now - *cSeconds;
  }
  return readCalendar(strText, now);
}

}  // namespace Host
