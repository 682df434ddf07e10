#include "configuration.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <utility>

#include "common/server/log_event.h"
#include "common/server/shares.h"
#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "common/text/suggestion.h"
#include "scheduler_section.h"
#include "settings.h"
#include "settings_file.h"

namespace Host {

namespace {

constexpr char OUTPUT_PATH[] = "output_path";
constexpr char ENABLE_OUTPUT[] = "enable_output";

bool isSectionKey(const std::string& strKey) {
  return strKey == OUTPUT_PATH || strKey == ENABLE_OUTPUT;
}

std::string noSuchKey(const std::string& strKey) {
  const std::vector<std::string> vecKeys = configKeys();
  return fmt::format("there is no setting \"{}\"; the settings are {}{}", strKey, fmt::join(vecKeys, ", "),
                     didYouMean(strKey, vecKeys));
}

std::string sectionText(const Json::Value& jConfig, const std::string& strKey) {
  return strKey == OUTPUT_PATH ? textOf(jConfig, OUTPUT_PATH) : (boolOf(jConfig, ENABLE_OUTPUT, true) ? "yes" : "no");
}

std::string whyNotPlace(const std::string& strPath) {
  if (const std::string strWhy = whyNotOutputPath(strPath); !strWhy.empty()) {
    return strWhy;
  }
  const std::string strShare = strPath.substr(0, strPath.find('/'));
  const std::string strWhy = whyShareUnusable(strShare);
  return strWhy.empty() ? "" : fmt::format("the share \"{}\": {}", strShare, strWhy);
}

/// Tells what is wrong with one value alone.
std::string whyNotValue(const std::string& strKey, const std::string& strValue) {
  if (strKey == OUTPUT_PATH) {
    const std::string strWhy = whyNotPlace(strValue);
    return strWhy.empty() ? "" : fmt::format("the output path \"{}\" cannot be used: {}", strValue, strWhy);
  }
  const bool blKnown = strValue == "yes" || strValue == "no";
  const std::string strWhy =
      strKey == ENABLE_OUTPUT ? (blKnown ? "" : "must be yes or no") : whyNotSetting(strKey, strValue);
  return strWhy.empty() ? "" : fmt::format("{} {}, not \"{}\"", strKey, strWhy, strValue);
}

/// The value after these are set.
std::string textAfter(const ConfigValues& values, const std::string& strKey) {
  const auto itValue = values.find(strKey);
  return itValue != values.end() ? itValue->second : configText(strKey);
}

/// Checks the values together with those that stay.
void checkTogether(const ConfigValues& values, const std::set<Json::Int64>& setOwners,
                   std::vector<std::string>& vecWhy) {
  const bool blOff = textAfter(values, ENABLE_OUTPUT) == "no";
  if (values.count(ENABLE_OUTPUT) > 0 && !blOff && textAfter(values, OUTPUT_PATH).empty()) {
    vecWhy.emplace_back("no output path is set; set output_path, too");
  }
  if (values.count(ENABLE_OUTPUT) > 0 && blOff && setOwners.size() > 1 && textAfter(values, "shared_script") != "yes") {
    vecWhy.push_back(fmt::format(
        "output is not switched off: there are tasks of {} owners, and without output a script of one owner "
        "can run with the rights of another; to allow it, set shared_script=yes",
        setOwners.size()));
  }
}

/// The text of the configuration file with these values.
std::string sectionFile(const ConfigValues& values) {
  Json::Value jConfig = schedulerConfig();
  const Json::Value jBefore = jConfig;
  jConfig["type"] = CONFIG_TYPE;
  if (const auto itPath = values.find(OUTPUT_PATH); itPath != values.end()) {
    changeOutputPlace(jConfig, itPath->second);
  }
  if (const auto itEnable = values.find(ENABLE_OUTPUT); itEnable != values.end()) {
    jConfig[ENABLE_OUTPUT] = itEnable->second == "yes";
  }
  return jConfig == jBefore ? readTextFile(CONFIG_PATH).value_or("") : configFileWith(jConfig);
}

/// The current values of some settings; without those that cannot be read.
ConfigValues valuesNow(const ConfigValues& values) {
  ConfigValues now;
  for (const auto& [strKey, strValue] : values) {
    try {
      now[strKey] = configText(strKey);
    } catch (const Failure&) {
      continue;
    }
  }
  return now;
}

bool areKnown(const ConfigValues& values) {
  const std::vector<std::string> vecKeys = configKeys();
  return std::all_of(values.begin(), values.end(), [&](const auto& value) {
    return std::find(vecKeys.begin(), vecKeys.end(), value.first) != vecKeys.end();
  });
}

}  // namespace

std::vector<std::string> configKeys() {
  std::vector<std::string> vecKeys = settingKeys();
  vecKeys.insert(vecKeys.begin(), {OUTPUT_PATH, ENABLE_OUTPUT});
  return vecKeys;
}

std::string configText(const std::string& strKey) {
  if (isSectionKey(strKey)) {
    return sectionText(schedulerConfig(), strKey);
  }
  const std::vector<std::string> vecKeys = configKeys();
  if (std::find(vecKeys.begin(), vecKeys.end(), strKey) == vecKeys.end()) {
    throw UsageFailure(noSuchKey(strKey));
  }
  return settingText(strKey);
}

ConfigValues configValues() {
  ConfigValues values;
  for (const std::string& strKey : configKeys()) {
    values[strKey] = configText(strKey);
  }
  return values;
}

std::vector<std::string> whyNotConfig(const ConfigValues& values, const std::set<Json::Int64>& setOwners) {
  std::vector<std::string> vecWhy;
  const std::vector<std::string> vecKeys = configKeys();
  for (const auto& [strKey, strValue] : values) {
    const bool blKnown = std::find(vecKeys.begin(), vecKeys.end(), strKey) != vecKeys.end();
    std::string strWhy = blKnown ? whyNotValue(strKey, strValue) : noSuchKey(strKey);
    if (!strWhy.empty()) {
      vecWhy.push_back(std::move(strWhy));
    }
  }
  if (vecWhy.empty()) {
    checkTogether(values, setOwners, vecWhy);
  }
  return vecWhy;
}

void logConfig(const ConfigValues& values) {
  for (const auto& [strKey, strValue] : values) {
    logEvent(LogEvent::SETTING_CHANGED, strKey, strValue);
  }
}

FileTexts configFilesWith(const ConfigValues& values) {
  FileTexts texts;
  std::string strSettings = readTextFile(SETTINGS_PATH).value_or("");
  for (const auto& [strKey, strValue] : values) {
    if (isSectionKey(strKey)) {
      texts[CONFIG_PATH] = sectionFile(values);
    } else {
      texts[SETTINGS_PATH] = strSettings = withSetting(strSettings, strKey, strValue);
    }
  }
  return texts;
}

void setConfig(const ConfigLock& lock, const ConfigValues& values) {
  const DeferredSignals deferred;
  ConfigChange(lock, configFilesWith(values)).finish();
}

void changeConfig(const ConfigLock& lock, const ConfigValues& values, const std::set<Json::Int64>& setOwners) {
  if (const std::vector<std::string> vecWhy = whyNotConfig(values, setOwners); !vecWhy.empty()) {
    const std::string strWhy = fmt::format("{}", fmt::join(vecWhy, "\n"));
    if (!areKnown(values)) {
      throw UsageFailure(strWhy);
    }
    throw Failure(strWhy);
  }
  setConfig(lock, values);
}

void changeConfig(const ConfigValues& values, bool blForce) {
  // The values are checked against others, which must not change before they are set.
  const ConfigLock lock;
  const auto itOutput = values.find("enable_output");
  const bool blOwnersCount = itOutput != values.end() && itOutput->second == "no" && !blForce;
  const ConfigValues before = valuesNow(values);
  changeConfig(lock, values, blOwnersCount ? ownersOf(listTasks()) : std::set<Json::Int64>());
  ConfigValues changed;
  std::set_difference(values.begin(), values.end(), before.begin(), before.end(),
                      std::inserter(changed, changed.end()));
  logConfig(changed);
}

}  // namespace Host
