#include "run_settings.h"

#include <algorithm>
#include <array>
#include <climits>
#include <fmt/format.h>
#include <string_view>

#include "common/text/json_members.h"
#include "common/text/variable.h"
#include "common/text/yaml_writer.h"

namespace Host {

namespace {

/// The library counts seconds in 32 bits.
constexpr Json::Int64 MAX_SECONDS = 2147483647;

constexpr Json::Int64 MAX_RETRIES = 100;
constexpr Json::Int64 MAX_RETRY_AFTER = 7 * 86400;

/// When a task does not say it.
constexpr Json::Int64 USUAL_RETRY_AFTER = 60;

constexpr Json::Int64 LOWEST_NICE = -20;
constexpr Json::Int64 HIGHEST_NICE = 19;

/// The least that a shell and a small script need; with less, every run would be killed.
constexpr Json::Int64 CB_LEAST_MEMORY = 1 << 20;

/// All variables of a task together.
constexpr std::size_t CB_ENVIRONMENT = std::size_t{128} << 10;

/// The kernel's form of an I/O priority: the class above these bits, and a level from 0 to 7 in them.
constexpr int LEVEL_BITS = 13;
constexpr int USUAL_LEVEL = 4;

struct IoClass {
  std::string_view strName;
  int iClass;
  bool blLevels;
};

constexpr std::array<IoClass, 4> IO_CLASSES = {
    {{"none", 0, false}, {"realtime", 1, true}, {"best-effort", 2, true}, {"idle", 3, false}}};

/// Reads "CLASS" or "CLASS:LEVEL".
std::optional<int> ioPriorityFrom(std::string_view strText) {
  for (const auto& [strName, iClass, blLevels] : IO_CLASSES) {
    const int iPriority = iClass << LEVEL_BITS;
    if (strText == strName) {
      return blLevels ? iPriority | USUAL_LEVEL : iPriority;
    }
    if (blLevels && strText.size() == strName.size() + 2 && strText.starts_with(strName) &&
        strText[strName.size()] == ':' && strText.back() >= '0' && strText.back() <= '7') {
      return iPriority | (strText.back() - '0');
    }
  }
  return std::nullopt;
}

/// Every script gets its own value of these. A task may change PATH and LANG.
bool isFixed(std::string_view strName) {
  constexpr std::array<std::string_view, 7> NAMES = {"HOME", "USER", "LOGNAME", "SHELL", "PWD", "OLDPWD", "SHLVL"};
  return strName.starts_with("EORVA_") || std::find(NAMES.begin(), NAMES.end(), strName) != NAMES.end();
}

std::string whyNotVariable(const std::string& strName, const Json::Value& jValue) {
  if (std::string strWhy = whyNotVariableName(strName); !strWhy.empty()) {
    return strWhy;
  }
  if (isFixed(strName)) {
    return "the scheduler sets it";
  }
  if (!jValue.isString()) {
    return "its value must be a string";
  }
  if (jValue.asString().size() > CB_MAX_VARIABLE) {
    return fmt::format("its value is longer than {} bytes", CB_MAX_VARIABLE);
  }
  const bool blText = isUtf8(jValue.asString()) && jValue.asString().find('\0') == std::string::npos;
  return blText ? std::string() : "its value must be UTF-8 without NUL";
}

std::string whyNotEnvironment(const Json::Value& jEnvironment) {
  std::size_t cb = 0;
  for (const std::string& strName : jEnvironment.getMemberNames()) {
    if (const std::string strWhy = whyNotVariable(strName, jEnvironment[strName]); !strWhy.empty()) {
      return fmt::format("\"{}\" cannot be set: {}", strName, strWhy);
    }
    cb += strName.size() + jEnvironment[strName].asString().size() + 2;
  }
  return cb > CB_ENVIRONMENT ? fmt::format("is longer than {} bytes", CB_ENVIRONMENT) : std::string();
}

std::string whyNotDirectory(const std::string& strDirectory) {
  if (strDirectory.empty() || strDirectory.front() != '/') {
    return "must be an absolute path, or / for none";
  }
  if (strDirectory.size() >= PATH_MAX) {
    return fmt::format("is longer than {} bytes", PATH_MAX - 1);
  }
  const bool blText = isUtf8(strDirectory) && std::none_of(strDirectory.begin(), strDirectory.end(), [](char c) {
                        return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
                      });
  return blText ? std::string() : "must be UTF-8 without control characters";
}

std::string whyNotIoClass(const std::string& strClass) {
  return ioPriorityFrom(strClass) ? std::string()
                                  : "must be idle, best-effort, realtime or none; best-effort and realtime can have a "
                                    "level from 0 (first) to 7, as in best-effort:7";
}

std::string whyNotSeconds(Json::Int64 iSeconds) {
  return iSeconds >= 0 && iSeconds <= MAX_SECONDS
             ? std::string()
             : fmt::format("must be from 1 to {} seconds, or 0 for no limit", MAX_SECONDS);
}

std::string whyNotOutputLimit(Json::Int64 cb) {
  return cb >= 0 ? std::string() : "must be a number of bytes, or 0 for no limit";
}

std::string whyNotMemoryLimit(Json::Int64 cb) {
  return cb == 0 || cb >= CB_LEAST_MEMORY ? std::string() : "must be 1M or more, or 0 for no limit";
}

std::string whyNotNice(Json::Int64 iNice) {
  return iNice >= LOWEST_NICE && iNice <= HIGHEST_NICE
             ? std::string()
             : fmt::format("must be from {} (first) to {}", LOWEST_NICE, HIGHEST_NICE);
}

std::string whyNotRetries(Json::Int64 cRetries) {
  return cRetries >= 0 && cRetries <= MAX_RETRIES ? std::string() : fmt::format("must be from 0 to {}", MAX_RETRIES);
}

std::string whyNotRetryAfter(Json::Int64 cSeconds) {
  return cSeconds >= 0 && cSeconds <= MAX_RETRY_AFTER ? std::string()
                                                      : fmt::format("must be from 0 to {} seconds", MAX_RETRY_AFTER);
}

/// The rule for one member; only one of the functions is set, by the type of the member.
struct Rule {
  const char* szMember;
  std::string (*fnNumber)(Json::Int64) = nullptr;
  std::string (*fnText)(const std::string&) = nullptr;
  std::string (*fnObject)(const Json::Value&) = nullptr;

  std::string whyNot(const Json::Value& jValue) const {
    if (fnNumber != nullptr && jValue.isInt64()) {
      return fnNumber(jValue.asInt64());
    }
    if (fnText != nullptr && jValue.isString()) {
      return fnText(jValue.asString());
    }
    return fnObject != nullptr && jValue.isObject() ? fnObject(jValue) : std::string();
  }
};

constexpr std::array<Rule, 9> RULES = {{
    {"time_limit", &whyNotSeconds},
    {"output_limit", &whyNotOutputLimit},
    {"directory", nullptr, &whyNotDirectory},
    {"nice", &whyNotNice},
    {"io_class", nullptr, &whyNotIoClass},
    {"memory_limit", &whyNotMemoryLimit},
    {"environment", nullptr, nullptr, &whyNotEnvironment},
    {"retries", &whyNotRetries},
    {"retry_after", &whyNotRetryAfter},
}};

bool isSound(const Json::Value& jTask, std::string_view strMember) {
  const auto* const it =
      std::find_if(RULES.begin(), RULES.end(), [&](const Rule& rule) { return strMember == rule.szMember; });
  return it != RULES.end() && it->whyNot(memberOf(jTask, it->szMember)).empty();
}

}  // namespace

std::vector<std::pair<std::string, std::string>> wrongRunSettings(const Json::Value& jTask) {
  std::vector<std::pair<std::string, std::string>> vecWrong;
  for (const Rule& rule : RULES) {
    if (std::string strWhy = rule.whyNot(memberOf(jTask, rule.szMember)); !strWhy.empty()) {
      vecWrong.emplace_back(rule.szMember, std::move(strWhy));
    }
  }
  return vecWrong;
}

std::vector<std::pair<std::string, std::string>> idleRunSettings(const Json::Value& jTask) {
  std::vector<std::pair<std::string, std::string>> vecIdle;
  if (intOf(jTask, "retry_after", USUAL_RETRY_AFTER) != USUAL_RETRY_AFTER && intOf(jTask, "retries") == 0) {
    vecIdle.emplace_back("retry_after", "has no effect: a failed run is not repeated");
  }
  if (boolOf(jTask, "only_after_success") && textOf(jTask, "depend_on_task").empty()) {
    vecIdle.emplace_back("only_after_success", "has no effect: the task waits for no other");
  }
  return vecIdle;
}

RunSettings runSettingsOf(const Json::Value& jTask) {
  RunSettings settings;
  if (jTask.isMember("directory") && isSound(jTask, "directory")) {
    settings.strDirectory = textOf(jTask, "directory");
  }
  if (isSound(jTask, "nice")) {
    settings.iNice = static_cast<int>(intOf(jTask, "nice"));
  }
  settings.iIoPriority = ioPriorityFrom(textOf(jTask, "io_class")).value_or(0);
  settings.cbMemory = static_cast<std::uint64_t>(std::max<Json::Int64>(intOf(jTask, "memory_limit"), 0));
  if (const Json::Int64 cb = intOf(jTask, "output_limit", -1); cb >= 0) {
    settings.outputLimit = static_cast<std::uint64_t>(cb);
  }
  settings.cRetries = intOf(jTask, "retries");
  settings.cRetryAfter = intOf(jTask, "retry_after");
  const Json::Value& jEnvironment = memberOf(jTask, "environment");
  if (jEnvironment.isObject() && isSound(jTask, "environment")) {
    for (const std::string& strName : jEnvironment.getMemberNames()) {
      settings.vecEnvironment.emplace_back(strName, jEnvironment[strName].asString());
    }
  }
  return settings;
}

}  // namespace Host
