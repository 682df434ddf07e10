#include "present.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <json/writer.h>
#include <stdio_ext.h>
#include <unistd.h>

#include "common/answers/reason_text.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/text/json_members.h"
#include "common/text/json_utf8.h"
#include "common/text/stored_time.h"
#include "say.h"

using Host::intOf;
using Host::textOf;

namespace {

constexpr char INDENTATION[] = "  ";

std::string jsonText(const Json::Value& jValue, const char* szIndentation) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = szIndentation;
  builder["emitUTF8"] = true;
  // With more digits, 0.1 would be written as 0.10000000000000001.
  builder["precision"] = 15;
  return Host::withoutControls(Json::writeString(builder, Host::isAllUtf8(jValue) ? jValue : Host::inUtf8(jValue)));
}

}  // namespace

void printJson(const Json::Value& jValue) {
  fmt::print("{}\n", jsonText(jValue, INDENTATION));
}

void JsonArray::add(const Json::Value& jItem) {
  fmt::print("{}\n{}", m_blEmpty ? "[" : ",", INDENTATION);
  m_blEmpty = false;
  // Texts have no line breaks in JSON, so each one begins a line.
  for (const char c : jsonText(jItem, INDENTATION)) {
    std::putchar(c);
    if (c == '\n') {
      std::fputs(INDENTATION, stdout);
    }
  }
}

void JsonArray::end() const {
  fmt::print("{}\n", m_blEmpty ? "[]" : "\n]");
}

void printJsonLine(const Json::Value& jValue) {
  fmt::print("{}\n", jsonText(jValue, ""));
}

void flushOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Host::Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
  }
}

void flushAfterChange() {
  try {
    flushOutput();
  } catch (const Host::Failure& failure) {
    __fpurge(stdout);
    std::clearerr(stdout);
    printNote(fmt::format("the change is made, but {}", failure.what()));
  }
}

void printNote(const std::string& strText) {
  if (strText.empty()) {
    return;
  }
  std::fflush(stdout);
  fmt::print(stderr, "eorva: {}\n", Host::asMessage(strText));
}

std::string timeText(const Json::Value& jRec, const char* szKey) {
  return Host::timeText(intOf(jRec, szKey));
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

std::string listText(const std::vector<std::string>& vecNames) {
  return vecNames.empty() ? "-" : fmt::format("{}", fmt::join(vecNames, ", "));
}

std::string waitsForText(const Json::Value& jTask) {
  return waitsForText(Host::readDependencyList(textOf(jTask, "depend_on_task")),
                      Host::boolOf(jTask, "only_after_success"));
}

std::string waitsForText(const std::vector<std::string>& vecWaitsFor, bool blOnlyAfterSuccess) {
  return listText(vecWaitsFor) + (blOnlyAfterSuccess && !vecWaitsFor.empty() ? " (success)" : "");
}

void printRuns(const std::vector<Json::Value>& vecRuns, bool blColor) {
  const auto tryOf = [](const Json::Value& jRun) { return intOf(jRun, "attempt", 1); };
  const bool blTries =
      std::any_of(vecRuns.begin(), vecRuns.end(), [&](const Json::Value& jRun) { return tryOf(jRun) > 1; });
  std::vector<Table::Column> vecColumns = {{"RUN", true}, {"TASK"}, {"OWNER"},      {"TRIGGER"},
                                           {"START"},     {"STOP"}, {"TIME", true}, {"HOW IT ENDED"}};
  if (blTries) {
    vecColumns.push_back({"TRY", true});
  }
  Table table(vecColumns, blColor);
  for (const Json::Value& jRun : vecRuns) {
    const Host::Outcome outcome = Host::outcomeOf(jRun);
    std::vector<Table::Cell> vecCells = {{std::to_string(intOf(jRun, "result_id"))},
                                         {textOf(jRun, "task_name")},
                                         {Host::ownerText(jRun)},
                                         {textOf(jRun, "trigger_event")},
                                         {timeText(jRun, "start_time")},
                                         {timeText(jRun, "stop_time")},
                                         {Host::elapsedText(Host::secondsOf(jRun))},
                                         {outcome.strText, outcomeColor(outcome.kind)}};
    if (blTries) {
      vecCells.push_back({std::to_string(tryOf(jRun))});
    }
    table.addRow(vecCells);
  }
  table.print();
}

void printFields(const std::vector<std::pair<std::string, std::string>>& vecFields) {
  std::size_t cbLongest = 0;
  for (const auto& [strName, strValue] : vecFields) {
    cbLongest = std::max(cbLongest, strName.size());
  }
  for (const auto& [strName, strValue] : vecFields) {
    say("{:<{}}  {}\n", strName + ":", cbLongest + 1, strValue);
  }
}

void printReasons(const std::string& strSubject, const std::string& strTask,
                  const std::vector<Host::Reason>& vecReasons) {
  for (const Host::Reason& reason : vecReasons) {
    say("  {} {}\n", strSubject, Host::reasonText(reason));
    if (const std::string strAdvice = Host::reasonAdvice(strTask, reason); !strAdvice.empty()) {
      say("      {}\n", strAdvice);
    }
  }
}
