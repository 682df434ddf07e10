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

Outcome normalOutcome(Json::Int64 iCode) {
  if (iCode == 0) {
    return {Outcome::Kind::OK, "exit 0",
            "The script ended with 0 (one that ends with 128 is recorded in the same way)."};
  }
  return {Outcome::Kind::FAILED, fmt::format("exit {}", iCode), fmt::format("The script ended with {}.", iCode)};
}

/// Exit status N, exit status 128 + N and signal N give the same record, so the
/// text names all of them.
Outcome ambiguousOutcome(Json::Int64 iCode) {
  const std::string strSignal = signalName(iCode);
  if (strSignal.empty()) {
    return {
        Outcome::Kind::FAILED, fmt::format("exit {} or {}", iCode, iCode + 128),
        fmt::format("The script ended with {} or with {}; the two are recorded in the same way.", iCode, iCode + 128)};
  }
  return {Outcome::Kind::FAILED, fmt::format("exit {} or signal {} ({})", iCode, iCode, strSignal),
          fmt::format("The script ended with {}, or was killed by signal {} ({}), which a shell reports as {}; "
                      "the three are recorded in the same way.",
                      iCode, iCode, strSignal, iCode + 128)};
}

Outcome stoppedOutcome(Json::Int64 iCode) {
  if (iCode == 0) {
    return {Outcome::Kind::FAILED, "exit 127 (not found)",
            "The script ended with 127: a command, or the script's interpreter, was not found."};
  }
  return {Outcome::Kind::FAILED, fmt::format("stopped by signal {}", iCode),
          fmt::format("The script was stopped by signal {}.", iCode)};
}

Outcome recordedOutcome(const Json::Value& jRun) {
  const Json::Value& jExit = memberOf(jRun, "exit_info");
  const std::string strType = textOf(jExit, "exit_type");
  const Json::Int64 iCode = intOf(jExit, "exit_code", -1);
  if (strType == "normal" && iCode >= 0) {
    return normalOutcome(iCode);
  }
  if (strType == "by_signal" && iCode > 0) {
    return ambiguousOutcome(iCode);
  }
  if (strType == "stop" && iCode >= 0) {
    return stoppedOutcome(iCode);
  }
  if (strType == EXIT_INTERRUPTED) {
    return {Outcome::Kind::FAILED, "interrupted",
            "The run was interrupted: its process was gone before anybody could see how it ended."};
  }
  return {Outcome::Kind::FAILED, "unknown",
          "How the run ended is unknown: the script was not started (as when its owner does not exist), or its "
          "exit information was lost."};
}

/// The outcome of a run that was ended early.
Outcome endedEarly(const std::string& strEndedBy, const Outcome& outcome) {
  if (strEndedBy == ENDED_TIME_LIMIT) {
    return {Outcome::Kind::FAILED, "time limit: " + outcome.strText,
            "The task's time limit was reached, and the run was ended. " + outcome.strExplanation};
  }
  if (strEndedBy == ENDED_BUDGET) {
    return {Outcome::Kind::FAILED, "out of time: " + outcome.strText,
            "The time for all of the event's tasks was used up, and the run was ended. " + outcome.strExplanation};
  }
  if (strEndedBy == ENDED_SHUTDOWN) {
    return {Outcome::Kind::FAILED, "shutdown: " + outcome.strText,
            "The server was shut down, and the run was ended. " + outcome.strExplanation};
  }
  return {Outcome::Kind::FAILED, "stopped: " + outcome.strText,
          "Somebody ended the run, or its execution ('eorva stop'). " + outcome.strExplanation};
}

}  // namespace

Outcome outcomeOf(const Json::Value& jRun) {
  if (!jRun.isMember("stop_time")) {
    return {Outcome::Kind::RUNNING, "running", "The run has not ended yet."};
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
