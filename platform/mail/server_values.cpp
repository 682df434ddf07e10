#include "mail/server_values.h"

#include <fmt/format.h>

#include "settings/server_settings.h"
#include "texts/server_text.h"

namespace orva {
namespace {

constexpr const char* SECTION = "schedule";
constexpr const char* UNKNOWN = "-";

PlaceholderValues& addedValues() {
  static PlaceholderValues mapAdded;
  return mapAdded;
}

std::string valueOf(const PlaceholderValues& mapValue, const char* szKey) {
  const auto it = mapValue.find(szKey);
  return it == mapValue.end() ? std::string() : it->second;
}

// The number alone is not enough: 0 can also be the number of a stop signal, and then the text tells it.
bool endedWell(const std::string& strExitCode) {
  const bool blZero = strExitCode == "0" || strExitCode.starts_with("0 (");
  return blZero && strExitCode != "0 (" + serverText(SECTION, "by_signal").value_or("") + ")";
}

// "failed: exit 4". The text of the host is more precise than the exit code of the library.
std::string resultOf(const PlaceholderValues& mapValue) {
  const std::string strEnd = valueOf(mapValue, "%END%");
  const std::string strExitCode = valueOf(mapValue, "%EXIT_CODE%");
  const bool blWell = strEnd.empty() ? endedWell(strExitCode) : valueOf(mapValue, "%ENDED_WELL%") == "1";
  if (blWell) {
    return serverText(SECTION, "ended_well").value_or("ended");
  }
  return fmt::format("{}: {}", serverText(SECTION, "failed").value_or("failed"), strEnd.empty() ? strExitCode : strEnd);
}

}  // namespace

void addMailValue(const std::string& strKey, const std::string& strValue) {
  addedValues()[strKey] = strValue;
}

void forgetMailValue(const std::string& strKey) {
  addedValues().erase(strKey);
}

void forgetMailValues() {
  addedValues().clear();
}

PlaceholderValues withServerValues(PlaceholderValues mapValue) {
  mapValue.insert(addedValues().begin(), addedValues().end());
  mapValue.try_emplace("%HOST%", serverHostName());
  if (mapValue.contains("%EXIT_CODE%")) {
    mapValue.try_emplace("%RESULT%", resultOf(mapValue));
    for (const char* szKey : {"%OWNER%", "%EVENT%", "%RUN%", "%DURATION%"}) {
      mapValue.try_emplace(szKey, UNKNOWN);
    }
  }
  return mapValue;
}

}  // namespace orva
