#include "outcome.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>

#include "common/server/log_event.h"
#include "common/text/json_members.h"
#include "script_end.h"

namespace Host {

namespace {

Outcome failed(const std::string& strText, const std::string& strExplanation = {}) {
  return {Outcome::Kind::FAILED, strText, strExplanation.empty() ? strText : strExplanation};
}

Outcome exitOutcome(Json::Int64 iStatus) {
  switch (iStatus) {
    case 0:
      return {Outcome::Kind::OK, "exit 0", "exit 0"};
    case 126:
      return failed("exit 126 (not executable)", "exit 126: the script, or a command in it, could not be executed");
    case 127:
      return failed("exit 127 (not found)", "exit 127: a command, or the interpreter of the script, was not found");
    default:
      return failed(fmt::format("exit {}", iStatus));
  }
}

Outcome killedOutcome(int iSignal) {
  const std::string strName = signalName(iSignal);
  if (strName.empty()) {
    return failed(fmt::format("killed by signal {}", iSignal));
  }
  return failed(fmt::format("killed by {}", strName),
                fmt::format("killed by {}, which shells report as exit {}", strName, iSignal + 128));
}

Outcome outcomeOfScript(const ScriptEnd& end) {
  switch (end.kind) {
    case ScriptEnd::Kind::EXITED:
      return exitOutcome(end.iNumber);
    case ScriptEnd::Kind::KILLED:
      return killedOutcome(end.iNumber);
    case ScriptEnd::Kind::NOT_STARTED:
      break;
  }
  return failed("could not start",
                "could not start: for example, the owner does not exist or the script could not be written");
}

constexpr char DOUBT[] = "the record does not tell which";

/// Exit status 0 and exit status 128 give the same record.
Outcome normalOutcome(Json::Int64 iCode) {
  Outcome outcome = exitOutcome(iCode);
  if (iCode == 0) {
    outcome.strExplanation = fmt::format("exit 0 or exit 128: {}", DOUBT);
  }
  return outcome;
}

/// Exit status N, exit status 128 + N and signal N give the same record.
Outcome ambiguousOutcome(Json::Int64 iCode) {
  const std::string strSignal = signalName(iCode);
  if (strSignal.empty()) {
    return failed(fmt::format("exit {} or {}", iCode, iCode + 128),
                  fmt::format("exit {} or exit {}: {}", iCode, iCode + 128, DOUBT));
  }
  return failed(fmt::format("exit or signal {}", iCode),
                fmt::format("exit {}, exit {} or signal {} ({}): {}", iCode, iCode + 128, iCode, strSignal, DOUBT));
}

std::optional<Outcome> recordedOutcome(const Json::Value& jExit) {
  const std::string strType = textOf(jExit, "exit_type");
  const Json::Int64 iCode = intOf(jExit, "exit_code", -1);
  if (strType == "normal" && iCode >= 0) {
    return normalOutcome(iCode);
  }
  if (strType == "by_signal" && iCode > 0) {
    return ambiguousOutcome(iCode);
  }
  if (strType == "stop" && iCode == 0) {
    return exitOutcome(127);
  }
  return std::nullopt;
}

std::optional<Outcome> reportedOutcome(const Json::Value& jRun) {
  const Json::Value& jExtra = memberOf(jRun, "extra");
  if (const std::string strError = textOf(jExtra, DIRECTORY_ERROR); !strError.empty()) {
    return failed("could not start (directory)",
                  fmt::format("could not start: its owner could not enter the directory of the task: {}", strError));
  }
  const std::optional<ScriptEnd> end = scriptEndOf(jRun);
  std::optional<Outcome> outcome = end ? outcomeOfScript(*end) : recordedOutcome(memberOf(jRun, "exit_info"));
  if (outcome && boolOf(jExtra, OUT_OF_MEMORY)) {
    outcome->strExplanation += "; the system killed processes of the run at its memory limit";
  }
  return outcome;
}

struct EarlyEnd {
  const char* szEndedBy;
  const char* szText;
  const char* szExplanation;
};

constexpr std::array<EarlyEnd, 5> EARLY_ENDS = {{
    {ENDED_STOPPED, "stopped", "ended on request, or with its execution"},
    {ENDED_TIME_LIMIT, "time limit", "ended at the time limit of its task"},
    {ENDED_BUDGET, "out of time", "ended when the budget of its execution was used up"},
    {ENDED_SHUTDOWN, "shutdown", "ended by the shutdown of the server"},
    {ENDED_KILLED, "killed", "the process of the run was killed by its owner or by the system"},
}};

Outcome earlyOutcome(const std::string& strEndedBy, const std::optional<Outcome>& reported) {
  const auto* const it = std::find_if(EARLY_ENDS.begin(), EARLY_ENDS.end(),
                                      [&](const EarlyEnd& end) { return strEndedBy == end.szEndedBy; });
  const EarlyEnd& end = it != EARLY_ENDS.end() ? *it : EARLY_ENDS.front();
  return failed(end.szText,
                reported ? fmt::format("{}; {}", end.szExplanation, reported->strExplanation) : end.szExplanation);
}

Outcome lostOutcome(const Json::Value& jRun) {
  if (isInterrupted(jRun)) {
    return failed("interrupted", "interrupted: the process of the run had ended, so its exit status is unknown");
  }
  return failed("unknown",
                "unknown: the script was not started, for example because its owner does not exist, or its exit status "
                "was lost");
}

}  // namespace

Outcome outcomeOf(const Json::Value& jRun) {
  if (!jRun.isMember("stop_time")) {
    return {Outcome::Kind::RUNNING, "running", "running"};
  }
  const std::optional<Outcome> reported = reportedOutcome(jRun);
  const std::string strEndedBy = textOf(jRun, "ended_by");
  if (!strEndedBy.empty()) {
    return earlyOutcome(strEndedBy, reported);
  }
  return reported ? *reported : lostOutcome(jRun);
}

Outcome lastOutcomeOf(const Json::Value& jTask, const Json::Value& jRun) {
  if (jRun.isObject() && intOf(jRun, "start_time") == intOf(jTask, "last_start_time")) {
    return outcomeOf(jRun);
  }
  Json::Value jCopy = objectOf({{"exit_info", memberOf(jTask, "last_exit_info")}});
  if (intOf(jTask, "last_stop_time") != 0) {
    jCopy["stop_time"] = jTask["last_stop_time"];
  }
  return outcomeOf(jCopy);
}

void logFailure(const Json::Value& jRun) {
  if (const Outcome outcome = outcomeOf(jRun); outcome.kind == Outcome::Kind::FAILED) {
    logEvent(LogEvent::RUN_FAILED, textOf(jRun, "task_name"), std::to_string(intOf(jRun, "result_id")), outcome.strText,
             textOf(jRun, "trigger_event"));
  }
}

std::string whereOutcome(Outcome::Kind kind) {
  // The database may have been edited by hand: exit_info need not be JSON, and its members may have any type.
  // 65407 is 0xff7f: the exit status and the signal of a wait status.
  constexpr char OK[] =
      "coalesce(ended_by, '') = '' and case when typeof(shell_status) = 'integer' then shell_status & 65407 = 0 "
      "when json_valid(exit_info) then json_extract(exit_info, '$.exit_type') is 'normal' and "
      "json_extract(exit_info, '$.exit_code') is 0 and json_type(exit_info, '$.exit_code') is not 'false' else 0 end";
  switch (kind) {
    case Outcome::Kind::RUNNING:
      return "stop_time is null";
    case Outcome::Kind::OK:
      return fmt::format("(stop_time is not null and {})", OK);
    case Outcome::Kind::FAILED:
      break;
  }
  return fmt::format("(stop_time is not null and not ({}))", OK);
}

std::string whereInterrupted() {
  return fmt::format(
      "(stop_time is not null and coalesce(ended_by, '') = '' and typeof(shell_status) <> 'integer' and "
      "case when json_valid(exit_info) then json_extract(exit_info, '$.exit_type') is '{}' else 0 end)",
      EXIT_INTERRUPTED);
}

bool isInterrupted(const Json::Value& jRun) {
  return textOf(memberOf(jRun, "exit_info"), "exit_type") == EXIT_INTERRUPTED;
}

const char* outcomeWord(Outcome::Kind kind) {
  switch (kind) {
    case Outcome::Kind::RUNNING:
      return "running";
    case Outcome::Kind::OK:
      return "ok";
    case Outcome::Kind::FAILED:
      break;
  }
  return "failed";
}

}  // namespace Host
