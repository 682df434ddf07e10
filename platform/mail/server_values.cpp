#include "mail/server_values.h"

#include "settings/server_settings.h"
#include "texts/server_text.h"

namespace orva {
namespace {

constexpr const char* SECTION = "schedule";

// The number alone is not enough: 0 can also be the number of a stop signal, and then the text tells it.
bool endedWell(const std::string& strExitCode) {
  const bool blZero = strExitCode == "0" || strExitCode.starts_with("0 (");
  return blZero && strExitCode != "0 (" + serverText(SECTION, "by_signal").value_or("") + ")";
}

std::string resultOf(const std::string& strExitCode) {
  return endedWell(strExitCode) ? serverText(SECTION, "ended_well").value_or("ended well")
                                : serverText(SECTION, "failed").value_or("failed");
}

}  // namespace

PlaceholderValues withServerValues(PlaceholderValues mapValue) {
  mapValue.try_emplace("%HOST%", serverHostName());
  const auto itExitCode = mapValue.find("%EXIT_CODE%");
  if (itExitCode != mapValue.end()) {
    mapValue.try_emplace("%RESULT%", resultOf(itExitCode->second));
  }
  return mapValue;
}

}  // namespace orva
