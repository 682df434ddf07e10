#include "present.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <json/writer.h>
#include <memory>
#include <sstream>
#include <unistd.h>

#include "eorvascheduler.h"

#include "common/answers/reason_text.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/text/json_members.h"
#include "common/text/json_utf8.h"
#include "common/text/terminal_text.h"

using Host::intOf;
using Host::memberOf;
using Host::textOf;

namespace {

/// The record in the form of the user interface. A time of 0 says that there is none yet.
Json::Value readable(const Json::Value& jRec) {
  Json::Value jReadable = jRec;
  for (const char* szKey : {"last_start_time", "last_stop_time"}) {
    if (intOf(jRec, szKey) == 0) {
      jReadable.removeMember(szKey);
    }
  }
  taskPostAction(jReadable);
  return jReadable;
}

Json::Value durationOf(const Json::Value& jRun) {
  if (!jRun.isMember("stop_time")) {
    return Json::nullValue;
  }
  return intOf(jRun, "stop_time") - intOf(jRun, "start_time");
}

}  // namespace

void printJson(const Json::Value& jValue) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  fmt::print("{}\n", Json::writeString(builder, Host::isAllUtf8(jValue) ? jValue : Host::inUtf8(jValue)));
}

void printJsonLine(const Json::Value& jValue) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["emitUTF8"] = true;
  fmt::print("{}\n", Json::writeString(builder, Host::isAllUtf8(jValue) ? jValue : Host::inUtf8(jValue)));
}

void flushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Host::Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
  }
}

void printNote(const std::string& strText) {
  if (strText.empty()) {
    return;
  }
  std::fflush(stdout);
  fmt::print(stderr, "eorva: {}\n", Host::shownOn(STDERR_FILENO, strText));
}

std::string ownerText(const Json::Value& jTask) {
  const Json::Value jReadable = readable(jTask);
  const Json::Value& jOwner = memberOf(jReadable, "owner");
  if (!jOwner.isObject() || jOwner.empty()) {
    return "-";
  }
  const std::string strUid = jOwner.getMemberNames().front();
  const std::string strName = textOf(jOwner, strUid.c_str());
  return strName.empty() ? strUid : strName;
}

std::string timeText(const Json::Value& jRec, const char* szKey) {
  if (intOf(jRec, szKey) == 0) {
    return "-";
  }
  Json::Value jTime(Json::objectValue);
  jTime[szKey] = jRec[szKey];
  return resultPostAction(jTime) == 0 ? textOf(jTime, szKey) : std::to_string(intOf(jRec, szKey));
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

const char* outcomeColor(Host::Outcome::Kind kind) {
  switch (kind) {
    case Host::Outcome::Kind::OK:
      return "green";
    case Host::Outcome::Kind::FAILED:
      return "red";
    case Host::Outcome::Kind::RUNNING:
      break;
  }
  return "yellow";
}

std::string needsText(const Json::Value& jTask) {
  const std::vector<std::string> vecNeeds = Host::readDependencyList(textOf(jTask, "depend_on_task"));
  return vecNeeds.empty() ? "-" : fmt::format("{}", fmt::join(vecNeeds, ", "));
}

OwnerNames ownerNames(const Json::Value& jTasks) {
  OwnerNames owners;
  for (const Json::Value& jTask : jTasks) {
    owners[textOf(jTask, "task_name")] = ownerText(jTask);
  }
  return owners;
}

Json::Value taskForPrograms(const Json::Value& jTask) {
  Json::Value jOut = jTask;
  jOut["owner_name"] = ownerText(jTask);
  jOut["waits_for"] = Json::Value(Json::arrayValue);
  for (const std::string& strNeed : Host::readDependencyList(textOf(jTask, "depend_on_task"))) {
    jOut["waits_for"].append(strNeed);
  }
  return jOut;
}

Json::Value runForPrograms(const Json::Value& jRun, const OwnerNames& owners) {
  const Host::Outcome outcome = Host::outcomeOf(jRun);
  const auto itOwner = owners.find(textOf(jRun, "task_name"));
  Json::Value jOut = jRun;
  jOut["owner_name"] = itOwner != owners.end() ? Json::Value(itOwner->second) : Json::Value();
  jOut["duration"] = durationOf(jRun);
  jOut["outcome"] = Host::outcomeWord(outcome.kind);
  jOut["outcome_text"] = outcome.strText;
  return jOut;
}

void printRuns(const std::vector<Json::Value>& vecRuns, const OwnerNames& owners, bool blColor) {
  Table table({{"RUN", true}, {"TASK"}, {"OWNER"}, {"TRIGGER"}, {"START"}, {"STOP"}, {"TIME", true}, {"HOW IT ENDED"}},
              blColor);
  for (const Json::Value& jRun : vecRuns) {
    const Host::Outcome outcome = Host::outcomeOf(jRun);
    const std::string strTask = textOf(jRun, "task_name");
    const auto itOwner = owners.find(strTask);
    const Json::Int64 iUntil = intOf(jRun, "stop_time", static_cast<Json::Int64>(std::time(nullptr)));
    table.addRow({{std::to_string(intOf(jRun, "result_id"))},
                  {strTask},
                  {itOwner != owners.end() ? itOwner->second : "-"},
                  {textOf(jRun, "trigger_event")},
                  {timeText(jRun, "start_time")},
                  {timeText(jRun, "stop_time")},
                  {durationText(iUntil - intOf(jRun, "start_time"))},
                  {outcome.strText, outcomeColor(outcome.kind)}});
  }
  table.print();
}

void printFields(const std::vector<std::pair<std::string, std::string>>& vecFields) {
  std::size_t cbLongest = 0;
  for (const auto& [strName, strValue] : vecFields) {
    cbLongest = std::max(cbLongest, strName.size());
  }
  for (const auto& [strName, strValue] : vecFields) {
    fmt::print("{:<{}}  {}\n", strName + ":", cbLongest + 1, Host::shownOn(STDOUT_FILENO, strValue));
  }
}

void printReasons(const std::string& strSubject, const std::string& strTask,
                  const std::vector<Host::Reason>& vecReasons) {
  for (const Host::Reason& reason : vecReasons) {
    const std::string strAdvice = Host::reasonAdvice(strTask, reason);
    fmt::print("{}", Host::shownOn(STDOUT_FILENO, fmt::format("  {} {}\n{}", strSubject, Host::reasonText(reason),
                                                              strAdvice.empty() ? "" : "      " + strAdvice + "\n")));
  }
}
