#include "duration.h"

#include <array>
#include <charconv>
#include <fmt/format.h>

#include "number_spec.h"

namespace Host {

namespace {

struct Unit {
  std::string_view strNames;  ///< each between blanks; the first is shown
  std::time_t cSeconds;
};

constexpr std::time_t MINUTE = 60;
constexpr std::time_t HOUR = 60 * MINUTE;
constexpr std::time_t DAY = 24 * HOUR;

constexpr std::array<Unit, 5> UNITS = {{{" w week weeks ", 7 * DAY},
                                        {" d day days ", DAY},
                                        {" h hour hours ", HOUR},
                                        {" m min minute minutes ", MINUTE},
                                        {" s sec second seconds ", 1}}};

// Larger durations could overflow when they are added.
constexpr std::time_t MAX_DURATION = 100'000'000'000;

void skipBlanks(std::string_view& strText) {
  while (!strText.empty() && strText.front() == ' ') {
    strText.remove_prefix(1);
  }
}

/// \return -1 when there is no number, or one that is too large.
std::time_t takeNumber(std::string_view& strText) {
  std::uint64_t iValue = 0;
  const auto [pEnd, code] = std::from_chars(strText.data(), strText.data() + strText.size(), iValue);
  strText.remove_prefix(static_cast<std::size_t>(pEnd - strText.data()));
  return code == std::errc() && iValue <= MAX_DURATION ? static_cast<std::time_t>(iValue) : -1;
}

/// \return 0 when there is no unit.
std::time_t takeUnit(std::string_view& strText) {
  std::size_t cb = 0;
  while (cb < strText.size() && strText[cb] >= 'a' && strText[cb] <= 'z') {
    ++cb;
  }
  const std::string strWord = fmt::format(" {} ", strText.substr(0, cb));
  strText.remove_prefix(cb);
  for (const Unit& unit : UNITS) {
    if (cb > 0 && unit.strNames.find(strWord) != std::string_view::npos) {
      return unit.cSeconds;
    }
  }
  return 0;
}

}  // namespace

std::optional<std::time_t> durationFrom(std::string_view strText) {
  if (const std::optional<std::uint64_t> cSeconds = numberFrom(strText)) {
    return *cSeconds <= MAX_DURATION ? std::optional(static_cast<std::time_t>(*cSeconds)) : std::nullopt;
  }
  std::time_t cSeconds = 0;
  do {
    const std::time_t iNumber = takeNumber(strText);
    skipBlanks(strText);
    const std::time_t iUnit = takeUnit(strText);
    if (iNumber < 0 || iUnit == 0 || iNumber > (MAX_DURATION - cSeconds) / iUnit) {
      return std::nullopt;
    }
    cSeconds += iNumber * iUnit;
    skipBlanks(strText);
  } while (!strText.empty());
  return cSeconds;
}

std::string durationText(Json::Int64 iSeconds) {
  std::string strText;
  // Weeks can be typed; people read days.
  for (std::size_t i = 1; i < UNITS.size(); ++i) {
    if (const Json::Int64 iCount = iSeconds / UNITS[i].cSeconds; iCount != 0) {
      strText += fmt::format("{}{}", iCount, UNITS[i].strNames[1]);
      iSeconds %= UNITS[i].cSeconds;
    }
  }
  return strText.empty() ? "0s" : strText;
}

std::string elapsedText(Json::Int64 iSeconds) {
  const Json::Int64 iLeast = iSeconds < HOUR ? 1 : iSeconds < DAY ? MINUTE : HOUR;
  return durationText(iSeconds - iSeconds % iLeast);
}

std::string cpuTimeText(Json::Int64 iMicroseconds) {
  constexpr Json::Int64 MILLISECOND = 1000;
  constexpr Json::Int64 SECOND = 1000 * MILLISECOND;
  if (iMicroseconds < SECOND) {
    return fmt::format("{}ms", iMicroseconds / MILLISECOND);
  }
  if (iMicroseconds < MINUTE * SECOND) {
    return fmt::format("{}.{}s", iMicroseconds / SECOND, iMicroseconds % SECOND / (100 * MILLISECOND));
  }
  return elapsedText(iMicroseconds / SECOND);
}

}  // namespace Host
