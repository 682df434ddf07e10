#include "settings.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <optional>
#include <string_view>
#include <type_traits>
#include <variant>

#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/duration.h"
#include "common/text/number_spec.h"
#include "common/text/suggestion.h"
#include "settings_file.h"

namespace Host {

namespace {

/// The form of a value.
enum class Form { NUMBER, NUMBER_OR_ALL, DURATION, SIZE, YES_OR_NO };

using Member = std::variant<unsigned Settings::*, std::uint64_t Settings::*, bool Settings::*>;

struct Rule {
  const char* szKey;
  const char* szDefault;
  Member pMember;
  Form form;
  unsigned iMin = 0;  ///< least value of a number or duration; the next is the greatest
  unsigned iMax = 0;
};

constexpr unsigned MAX_RUNS = 1'000'000;
constexpr unsigned MAX_SECONDS = 86'400;
constexpr unsigned MAX_PROCESSES = 4'194'304;

constexpr std::array<Rule, 9> RULES = {{
    {"retention_runs", "100", &Settings::cRetentionRuns, Form::NUMBER_OR_ALL, 1, MAX_RUNS},
    {"retention_failed_runs", "20", &Settings::cRetentionFailedRuns, Form::NUMBER_OR_ALL, 0, MAX_RUNS},
    {"retention_output_size", "10G", &Settings::cbRetentionOutput, Form::SIZE},
    {"output_limit", "1G", &Settings::cbOutputLimit, Form::SIZE},
    {"shutdown_budget", "5m", &Settings::cShutdownBudget, Form::DURATION, 1, MAX_SECONDS},
    {"stop_grace", "10s", &Settings::cStopGrace, Form::DURATION, 0, MAX_SECONDS},
    {"max_processes", "4096", &Settings::cMaxProcesses, Form::NUMBER, 1, MAX_PROCESSES},
    {"shared_script", "no", &Settings::blSharedScript, Form::YES_OR_NO},
    {"unit_fails", "no", &Settings::blUnitFails, Form::YES_OR_NO},
}};

const Rule& requireRule(const std::string& strKey) {
  const auto* const itRule =
      std::find_if(RULES.begin(), RULES.end(), [&](const Rule& rule) { return strKey == rule.szKey; });
  if (itRule == RULES.end()) {
    throw Failure(fmt::format("{} has no setting \"{}\"", SETTINGS_PATH, strKey));
  }
  return *itRule;
}

std::optional<std::uint64_t> countFrom(const Rule& rule, std::string_view strValue) {
  if (rule.form != Form::DURATION) {
    return numberFrom(strValue);
  }
  const std::optional<std::time_t> cSeconds = durationFrom(strValue);
  return cSeconds ? std::optional(static_cast<std::uint64_t>(*cSeconds)) : std::nullopt;
}

/// Reads a value; gives nothing when it is invalid.
std::optional<std::uint64_t> readValue(const Rule& rule, std::string_view strValue) {
  if (rule.form == Form::YES_OR_NO) {
    return strValue == "yes" || strValue == "no" ? std::optional<std::uint64_t>(strValue == "yes") : std::nullopt;
  }
  if (rule.form == Form::SIZE) {
    return sizeFrom(strValue);
  }
  if (rule.form == Form::NUMBER_OR_ALL && strValue == "all") {
    return KEEP_ALL;
  }
  const std::optional<std::uint64_t> count = countFrom(rule, strValue);
  return count && *count >= rule.iMin && *count <= rule.iMax ? count : std::nullopt;
}

std::string whyNotValue(const Rule& rule, const std::string& strValue) {
  if (readValue(rule, strValue)) {
    return {};
  }
  switch (rule.form) {
    case Form::YES_OR_NO:
      return "must be yes or no";
    case Form::SIZE:
      return "must be a number of bytes, as in 500M or 10G (K, M, G, T); 0 is no limit";
    case Form::NUMBER_OR_ALL:
      return fmt::format("must be a number from {} to {}, or all", rule.iMin, rule.iMax);
    case Form::DURATION:
      return fmt::format("must be a duration from {} to {}, as in 90s or 5m", durationText(rule.iMin),
                         durationText(rule.iMax));
    case Form::NUMBER:
      break;
  }
  return fmt::format("must be a number from {} to {}", rule.iMin, rule.iMax);
}

using Values = std::map<std::string, std::string>;

Values readValues() {
  return settingValues(readTextFile(SETTINGS_PATH).value_or(""));
}

/// The value of one key; the default when the file does not set it.
std::string valueOf(const Rule& rule, const Values& values) {
  const auto it = values.find(rule.szKey);
  return it != values.end() ? it->second : rule.szDefault;
}

std::string problemText(const Rule& rule, const std::string& strValue, const std::string& strWhy) {
  return fmt::format("{}: {} {}, not \"{}\"", SETTINGS_PATH, rule.szKey, strWhy, strValue);
}

/// Gives the value of one setting; the default and a problem when it is invalid.
std::uint64_t readRule(const Rule& rule, const Values& values, std::vector<std::string>& vecProblems) {
  const std::string strValue = valueOf(rule, values);
  if (const std::optional<std::uint64_t> value = readValue(rule, strValue)) {
    return *value;
  }
  vecProblems.push_back(problemText(rule, strValue, whyNotValue(rule, strValue)));
  return readValue(rule, rule.szDefault).value_or(0);
}

}  // namespace

Settings readSettings(std::vector<std::string>& vecProblems) {
  Settings settings;
  Values values;
  try {
    values = readValues();
  } catch (const Failure& error) {
    vecProblems.emplace_back(error.what());
  }
  for (const Rule& rule : RULES) {
    const std::uint64_t iValue = readRule(rule, values, vecProblems);
    std::visit(
        [&](auto pMember) {
          settings.*pMember = static_cast<std::remove_reference_t<decltype(settings.*pMember)>>(iValue);
        },
        rule.pMember);
  }
  return settings;
}

Settings currentSettings() {
  std::vector<std::string> vecProblems;
  const Settings settings = readSettings(vecProblems);
  if (!vecProblems.empty()) {
    throw Failure(fmt::format("{}", fmt::join(vecProblems, "\n")));
  }
  return settings;
}

unsigned maxProcessesSetting() {
  std::vector<std::string> vecProblems;
  return readSettings(vecProblems).cMaxProcesses;
}

std::uint64_t outputLimitSetting() {
  std::vector<std::string> vecProblems;
  return readSettings(vecProblems).cbOutputLimit;
}

bool unitFailsSetting() {
  std::vector<std::string> vecProblems;
  return readSettings(vecProblems).blUnitFails;
}

std::chrono::seconds graceSetting() {
  std::vector<std::string> vecProblems;
  return std::chrono::seconds(readSettings(vecProblems).cStopGrace);
}

std::vector<std::string> settingKeys() {
  std::vector<std::string> vecKeys;
  std::transform(RULES.begin(), RULES.end(), std::back_inserter(vecKeys), [](const Rule& rule) { return rule.szKey; });
  return vecKeys;
}

std::string settingText(const std::string& strKey) {
  const Rule& rule = requireRule(strKey);
  std::string strValue = valueOf(rule, readValues());
  if (const std::string strWhy = whyNotValue(rule, strValue); !strWhy.empty()) {
    throw Failure(problemText(rule, strValue, strWhy));
  }
  return strValue;
}

std::vector<std::string> ignoredSettings() {
  std::vector<std::string> vecProblems;
  const std::vector<std::string> vecKeys = settingKeys();
  for (const SettingLine& line : settingLines(readTextFile(SETTINGS_PATH).value_or(""))) {
    if (line.strKey.empty()) {
      vecProblems.push_back(fmt::format("{}, line {}, is not KEY=VALUE: {}", SETTINGS_PATH, line.iLine, line.strText));
    } else if (std::find(vecKeys.begin(), vecKeys.end(), line.strKey) == vecKeys.end()) {
      vecProblems.push_back(fmt::format("{}, line {}: there is no setting \"{}\"{}", SETTINGS_PATH, line.iLine,
                                        line.strKey, didYouMean(line.strKey, vecKeys)));
    }
  }
  return vecProblems;
}

std::string whyNotSetting(const std::string& strKey, const std::string& strValue) {
  return whyNotValue(requireRule(strKey), strValue);
}

}  // namespace Host
