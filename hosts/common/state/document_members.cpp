#include "document_members.h"

#include <array>
#include <fmt/format.h>
#include <optional>

#include "common/tasks/task_members.h"
#include "common/text/duration.h"
#include "common/text/json_members.h"
#include "common/text/number_spec.h"

namespace Host {

namespace {

constexpr char MAIL[] = "mail";
constexpr char SEND_MAIL[] = "send_mail";

enum class Unit { NONE, SECONDS, BYTES };

struct Member {
  const char* szRecord;
  const char* szDocument;
  Unit unit = Unit::NONE;
};

constexpr std::array<Member, 15> MEMBERS = {{
    {"enable", "enabled"},
    {"description", "description"},
    {"time_limit", "time_limit", Unit::SECONDS},
    {"output_limit", "output_limit", Unit::BYTES},
    {"directory", "directory"},
    {"nice", "nice"},
    {"io_class", "io_class"},
    {"memory_limit", "memory_limit", Unit::BYTES},
    {"environment", "environment"},
    {"only_after_success", "only_after_success"},
    {"retries", "retry"},
    {"retry_after", "retry_after", Unit::SECONDS},
    {"run_the_same_time", "parallel"},
    {"notify_if_error", "mail_if_error"},
    {"operation_type", "operation_type"},
}};

/// Former names, and the name of `waits_for` as an option.
constexpr std::array<std::pair<const char*, const char*>, 7> NAMES = {{
    {"after", "waits_for"},
    {"enable", "enabled"},
    {"retries", "retry"},
    {"run_the_same_time", "parallel"},
    {"notify_if_error", "mail_if_error"},
    {"notify_mail", MAIL},
    {"notify_enable", SEND_MAIL},
}};

const Json::Value& usualTask() {
  static const Json::Value J_USUAL = [] {
    Json::Value jTask(Json::objectValue);
    fillDefaults(jTask);
    jTask["description"] = "";
    return jTask;
  }();
  return J_USUAL;
}

/// A duration, unless another program stored a number that cannot be read again as one.
Json::Value shownValue(const Json::Value& jValue, Unit unit) {
  if (unit != Unit::SECONDS || !jValue.isInt64()) {
    return jValue;
  }
  const std::string strDuration = durationText(jValue.asInt64());
  return durationFrom(strDuration) == std::optional<std::time_t>(jValue.asInt64()) ? Json::Value(strDuration) : jValue;
}

/// People may write a duration or a size.
Json::Value readValue(const Json::Value& jValue, Unit unit) {
  if (!jValue.isString()) {
    return jValue;
  }
  const auto number = [&](const auto& read) { return read ? Json::Value(static_cast<Json::Int64>(*read)) : jValue; };
  switch (unit) {
    case Unit::SECONDS:
      return number(durationFrom(jValue.asString()));
    case Unit::BYTES:
      return number(sizeFrom(jValue.asString()));
    default:
      return jValue;
  }
}

/// A task with an address sends mail, if nothing else is said.
bool usuallySendsMail(const Json::Value& jMail) {
  return jMail.isString() && !jMail.asString().empty();
}

}  // namespace

Json::Value documentMembers(const Json::Value& jTask) {
  Json::Value jOut(Json::objectValue);
  for (const auto& [szRecord, szDocument, unit] : MEMBERS) {
    if (jTask.isMember(szRecord) && jTask[szRecord] != usualTask()[szRecord]) {
      jOut[szDocument] = shownValue(jTask[szRecord], unit);
    }
  }
  const Json::Value& jMail = memberOf(jTask, "notify_mail");
  if (usuallySendsMail(jMail)) {
    jOut[MAIL] = jMail;
  }
  if (boolOf(jTask, "notify_enable") != usuallySendsMail(jMail)) {
    jOut[SEND_MAIL] = boolOf(jTask, "notify_enable");
  }
  return jOut;
}

Json::Value recordMembers(const Json::Value& jFile) {
  Json::Value jTask(Json::objectValue);
  for (const auto& [szRecord, szDocument, unit] : MEMBERS) {
    if (jFile.isMember(szDocument)) {
      jTask[szRecord] = readValue(jFile[szDocument], unit);
    }
  }
  if (jFile.isMember(MAIL)) {
    jTask["notify_mail"] = jFile[MAIL];
  }
  jTask["notify_enable"] =
      jFile.isMember(SEND_MAIL) ? jFile[SEND_MAIL] : Json::Value(usuallySendsMail(memberOf(jFile, MAIL)));
  return jTask;
}

Json::Value withPresentNames(Json::Value jFile, std::vector<std::string>& vecErrors) {
  // An address alone sent no mail under its former name.
  const bool blSilent = jFile.isMember("notify_mail") && !jFile.isMember("notify_enable");
  for (const auto& [szOther, szPresent] : NAMES) {
    if (jFile.isMember(szOther) && jFile.isMember(szPresent)) {
      vecErrors.push_back(fmt::format("has both {} and {}, which mean the same", szPresent, szOther));
    } else if (jFile.isMember(szOther)) {
      jFile[szPresent] = jFile[szOther];
      jFile.removeMember(szOther);
    }
  }
  if (blSilent && !jFile.isMember(SEND_MAIL)) {
    jFile[SEND_MAIL] = false;
  }
  return jFile;
}

}  // namespace Host
