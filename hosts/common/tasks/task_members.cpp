#include "task_members.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "common/server/users.h"
#include "common/text/json_members.h"
#include "task_request.h"

namespace Host {

namespace {

struct Member {
  const char* szName;
  Json::ValueType type;
  bool blRequired = true;
  bool blNullable = false;
};

/// Every member that a request sets, without those that the engine keeps in a record.
constexpr std::array<Member, 22> MEMBERS = {{
    {"task_name", Json::stringValue},
    {"event", Json::stringValue},
    {"enable", Json::booleanValue},
    {"depend_on_task", Json::stringValue},
    {"operation_type", Json::stringValue},
    {"operation", Json::stringValue},
    {"owner", Json::objectValue},
    {"run_the_same_time", Json::booleanValue},
    {"notify_enable", Json::booleanValue},
    {"notify_if_error", Json::booleanValue},
    {"notify_mail", Json::stringValue},
    {"time_limit", Json::intValue},
    {"output_limit", Json::intValue, false, true},
    {"directory", Json::stringValue, false},
    {"nice", Json::intValue, false},
    {"io_class", Json::stringValue, false},
    {"memory_limit", Json::intValue, false},
    {"environment", Json::objectValue, false},
    {"only_after_success", Json::booleanValue, false},
    {"retries", Json::intValue, false},
    {"retry_after", Json::intValue, false},
    {"description", Json::stringValue, false},
}};

bool hasType(const Json::Value& jValue, Json::ValueType type) {
  return type == Json::intValue ? jValue.isInt64() : jValue.type() == type;
}

const char* typeName(Json::ValueType type) {
  switch (type) {
    case Json::stringValue:
      return "a string";
    case Json::booleanValue:
      return "true or false";
    case Json::intValue:
      return "a whole number";
    default:
      return "an object";
  }
}

bool isKnown(const std::string& strName) {
  return std::any_of(MEMBERS.begin(), MEMBERS.end(), [&](const Member& member) { return strName == member.szName; });
}

}  // namespace

std::string memberWord(const std::string& strMember) {
  constexpr std::array<std::pair<const char*, const char*>, 15> WORDS = {{{"task_name", "name"},
                                                                          {"enable", "enabled"},
                                                                          {"depend_on_task", "waits for"},
                                                                          {"operation", "script"},
                                                                          {"run_the_same_time", "parallel"},
                                                                          {"notify_enable", "mail"},
                                                                          {"notify_mail", "mail"},
                                                                          {"notify_if_error", "mail if error"},
                                                                          {"time_limit", "time limit"},
                                                                          {"output_limit", "output limit"},
                                                                          {"io_class", "I/O class"},
                                                                          {"memory_limit", "memory limit"},
                                                                          {"only_after_success", "only after success"},
                                                                          {"retries", "retry"},
                                                                          {"retry_after", "retry after"}}};
  const auto* const it =
      std::find_if(WORDS.begin(), WORDS.end(), [&](const auto& word) { return strMember == word.first; });
  return it != WORDS.end() ? it->second : strMember;
}

std::vector<std::string> memberWords(const std::vector<std::string>& vecMembers) {
  std::vector<std::string> vecWords;
  for (const std::string& strMember : vecMembers) {
    if (std::string strWord = memberWord(strMember);
        std::find(vecWords.begin(), vecWords.end(), strWord) == vecWords.end()) {
      vecWords.push_back(std::move(strWord));
    }
  }
  return vecWords;
}

std::vector<std::pair<std::string, std::string>> wrongMembers(const Json::Value& jTask) {
  std::vector<std::pair<std::string, std::string>> vecWrong;
  for (const Member& member : MEMBERS) {
    if (!jTask.isMember(member.szName)) {
      if (member.blRequired) {
        vecWrong.emplace_back(member.szName, "is missing");
      }
    } else if (!hasType(jTask[member.szName], member.type) && !(member.blNullable && jTask[member.szName].isNull())) {
      vecWrong.emplace_back(member.szName, fmt::format("must be {}", typeName(member.type)));
    }
  }
  for (const std::string& strName : jTask.getMemberNames()) {
    if (!isKnown(strName)) {
      vecWrong.emplace_back(strName, "is not a member that can be set");
    }
  }
  return vecWrong;
}

void fillDefaults(Json::Value& jTask) {
  const std::array<std::pair<const char*, Json::Value>, 16> DEFAULTS = {{{"enable", true},
                                                                         {"depend_on_task", ""},
                                                                         {"operation_type", "script"},
                                                                         {"run_the_same_time", false},
                                                                         {"notify_enable", false},
                                                                         {"notify_if_error", false},
                                                                         {"notify_mail", ""},
                                                                         {"time_limit", 0},
                                                                         {"directory", "/"},
                                                                         {"nice", 0},
                                                                         {"io_class", "none"},
                                                                         {"memory_limit", 0},
                                                                         {"environment", Json::objectValue},
                                                                         {"only_after_success", false},
                                                                         {"retries", 0},
                                                                         {"retry_after", 60}}};
  for (const auto& [szName, jValue] : DEFAULTS) {
    if (!jTask.isMember(szName)) {
      jTask[szName] = jValue;
    }
  }
}

void setMembers(Json::Value& jTask, const Json::Value& jChanges) {
  for (const std::string& strMember : jChanges.getMemberNames()) {
    jTask[strMember] = jChanges[strMember];
  }
}

Json::Value requestOf(const Json::Value& jStored) {
  Json::Value jTask(Json::objectValue);
  for (const Member& member : MEMBERS) {
    if (jStored.isMember(member.szName)) {
      jTask[member.szName] = jStored[member.szName];
    }
  }
  const Json::Value& jOwner = memberOf(jStored, "owner");
  if (!jOwner.isInt64()) {
    return jTask;
  }
  // The library's own conversion would log each owner who does not exist.
  const std::string strStored = textOf(jStored, "owner_name");
  const std::string strNow = jOwner.asInt64() < 0 ? "" : userName(static_cast<uid_t>(jOwner.asInt64()));
  jTask["owner"] = strStored.empty() || strNow == strStored
                       ? objectOf({{std::to_string(jOwner.asInt64()).c_str(), strNow}})
                       : objectOf({{strStored.c_str(), ""}});
  return jTask;
}

}  // namespace Host
