#include "amounts.h"

#include <array>
#include <fmt/format.h>

#include "eorvascheduler.h"

#include "json_members.h"

namespace Host {

std::string timeText(Json::Int64 iTime) {
  if (iTime == 0) {
    return "-";
  }
  Json::Value jTime(Json::objectValue);
  jTime["start_time"] = iTime;
  return resultPostAction(jTime) == 0 ? textOf(jTime, "start_time") : std::to_string(iTime);
}

std::string durationText(Json::Int64 iSeconds) {
  constexpr Json::Int64 MINUTE = 60;
  constexpr Json::Int64 HOUR = 60 * MINUTE;
  constexpr Json::Int64 DAY = 24 * HOUR;
  if (iSeconds < MINUTE) {
    return fmt::format("{} s", iSeconds);
  }
  if (iSeconds < HOUR) {
    return fmt::format("{} min {:02} s", iSeconds / MINUTE, iSeconds % MINUTE);
  }
  if (iSeconds < DAY) {
    return fmt::format("{} h {:02} min", iSeconds / HOUR, iSeconds % HOUR / MINUTE);
  }
  return fmt::format("{} d {:02} h", iSeconds / DAY, iSeconds % DAY / HOUR);
}

std::string cpuTimeText(Json::Int64 iMicroseconds) {
  constexpr Json::Int64 MILLISECOND = 1000;
  constexpr Json::Int64 SECOND = 1000 * MILLISECOND;
  constexpr Json::Int64 MINUTE = 60 * SECOND;
  if (iMicroseconds < SECOND) {
    return fmt::format("{} ms", iMicroseconds / MILLISECOND);
  }
  if (iMicroseconds < MINUTE) {
    return fmt::format("{}.{} s", iMicroseconds / SECOND, iMicroseconds % SECOND / (100 * MILLISECOND));
  }
  return durationText(iMicroseconds / SECOND);
}

std::string countText(std::size_t cThings, const char* szThing) {
  return fmt::format("{} {}{}", cThings, szThing, cThings == 1 ? "" : "s");
}

std::string sizeText(std::uint64_t cb) {
  constexpr std::uint64_t STEP = 1024;
  if (cb < STEP) {
    return fmt::format("{} B", cb);
  }
  auto size = static_cast<double>(cb);
  std::size_t iUnit = 0;
  constexpr std::array<const char*, 5> UNITS = {"B", "KiB", "MiB", "GiB", "TiB"};
  for (; size >= static_cast<double>(STEP) && iUnit + 1 < UNITS.size(); ++iUnit) {
    size /= static_cast<double>(STEP);
  }
  return fmt::format("{:.1f} {}", size, UNITS[iUnit]);
}

}  // namespace Host
