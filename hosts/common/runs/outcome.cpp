#include "outcome.h"

#include <csignal>
#include <cstring>
#include <fmt/format.h>

#include "common/text/json_members.h"

namespace Host {

namespace {

std::string signalName(Json::Int64 iSignal) {
  if (iSignal >= SIGRTMIN && iSignal <= SIGRTMAX) {
    return fmt::format("SIGRTMIN+{}", iSignal - SIGRTMIN);
  }
  const char* szName = iSignal > 0 && iSignal < NSIG ? sigabbrev_np(static_cast<int>(iSignal)) : nullptr;
  return szName != nullptr ? fmt::format("SIG{}", szName) : std::string();
}

Outcome failed(const std::string& strText, const std::string& strExplanation = {}) {
  return {Outcome::Kind::FAILED, strText, strExplanation.empty() ? strText : strExplanation};
}

/// Exit status N, exit status 128 + N and signal N give the same record, so the text names all of them.
Outcome ambiguousOutcome(Json::Int64 iCode) {
  const std::string strSignal = signalName(iCode);
  if (strSignal.empty()) {
    return failed(fmt::format("exit {} or {}", iCode, iCode + 128));
  }
  return failed(fmt::format("exit {} or signal {} ({})", iCode, iCode, strSignal),
                fmt::format("exit {}, exit {} or signal {} ({}): the record does not tell which", iCode, iCode + 128,
                            iCode, strSignal));
}

Outcome stoppedOutcome(Json::Int64 iCode) {
  return iCode == 0
             ? failed("exit 127 (not found)", "exit 127: a command, or the interpreter of the script, was not found")
             : failed(fmt::format("stopped by signal {}", iCode));
}

Outcome recordedOutcome(const Json::Value& jRun) {
  const Json::Value& jExit = memberOf(jRun, "exit_info");
  const std::string strType = textOf(jExit, "exit_type");
  const Json::Int64 iCode = intOf(jExit, "exit_code", -1);
  if (strType == "normal" && iCode >= 0) {
    return iCode == 0 ? Outcome{Outcome::Kind::OK, "exit 0", "exit 0"} : failed(fmt::format("exit {}", iCode));
  }
  if (strType == "by_signal" && iCode > 0) {
    return ambiguousOutcome(iCode);
  }
  if (strType == "stop" && iCode >= 0) {
    return stoppedOutcome(iCode);
  }
  if (strType == EXIT_INTERRUPTED) {
    return failed("interrupted", "interrupted: the process of the run had ended, so its exit status is unknown");
  }
  return failed("unknown",
                "unknown: the script was not started, for example because its owner does not exist, or its exit status "
                "was lost");
}

/// The outcome of a run that was ended early.
Outcome endedEarly(const std::string& strEndedBy, const Outcome& outcome) {
  const char* szShort = "stopped";
  const char* szLong = "ended by 'eorva stop', or with its execution";
  if (strEndedBy == ENDED_TIME_LIMIT) {
    szShort = "time limit";
    szLong = "ended at the time limit of its task";
  } else if (strEndedBy == ENDED_BUDGET) {
    szShort = "out of time";
    szLong = "ended when the budget of its execution was used up";
  } else if (strEndedBy == ENDED_SHUTDOWN) {
    szShort = "shutdown";
    szLong = "ended by the shutdown of the server";
  }
  return failed(fmt::format("{}: {}", szShort, outcome.strText), fmt::format("{}; {}", szLong, outcome.strExplanation));
}

}  // namespace

Outcome outcomeOf(const Json::Value& jRun) {
  if (!jRun.isMember("stop_time")) {
    return {Outcome::Kind::RUNNING, "running", "running"};
  }
  const std::string strEndedBy = textOf(jRun, "ended_by");
  return strEndedBy.empty() ? recordedOutcome(jRun) : endedEarly(strEndedBy, recordedOutcome(jRun));
}

std::string whereOutcome(Outcome::Kind kind) {
  // The database may have been edited by hand: the column need not be JSON.
  constexpr char OK[] =
      "case when json_valid(exit_info) then json_extract(exit_info, '$.exit_type') is 'normal' and "
      "json_extract(exit_info, '$.exit_code') is 0 and ended_by is null else 0 end";
  switch (kind) {
    case Outcome::Kind::RUNNING:
      return "stop_time is null";
    case Outcome::Kind::OK:
      return fmt::format("(stop_time is not null and {})", OK);
    case Outcome::Kind::FAILED:
      break;
  }
  return fmt::format("(stop_time is not null and not {})", OK);
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
