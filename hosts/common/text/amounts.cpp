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
