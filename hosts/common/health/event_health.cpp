#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>

#include "common/config/settings.h"
#include "common/events/event_state.h"
#include "common/support/failure.h"
#include "common/text/command_text.h"
#include "common/text/json_members.h"
#include "installation_health.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// Installed enabled, because their moment cannot be made up for: it has passed when a task is added after it.
constexpr std::array<const char*, 2> USUAL_EVENTS = {"bootup", "shutdown"};

/// Why an event that tasks wait for is not fired.
void checkInUse(const EventState& state, HealthFindings& findings) {
  const std::string& strEvent = state.event.strName;
  if (state.vecFiredBy.empty() || !state.state.blKnown) {
    findings.push_back(
        {Severity::WARNING, "events", strEvent,
         fmt::format("nothing that is installed fires the event \"{}\", and tasks wait for it", strEvent),
         state.blInCatalogue && state.state.blKnown ? "eorva event list" : eorvaCommand("fire", {strEvent})});
  } else if (state.state.strActive == "failed") {
    findings.push_back({Severity::PROBLEM, "events", strEvent,
                        fmt::format("{}, which fires the event \"{}\", has failed", state.vecFiredBy.front(), strEvent),
                        fmt::format("systemctl status {}", state.vecFiredBy.front())});
  } else if (state.state.strInstalled != "enabled" && state.state.strInstalled != "static") {
    findings.push_back(
        {Severity::PROBLEM, "events", strEvent,
         fmt::format("the event \"{}\" is not enabled ({}), and tasks wait for it", strEvent, state.vecFiredBy.front()),
         state.blInCatalogue ? eorvaCommand("event enable", {strEvent})
                             : fmt::format("systemctl enable {}", state.vecFiredBy.front())});
  }
}

/// Nobody waits for it yet, so nothing is missed yet.
void checkUsual(const EventState& state, HealthFindings& findings) {
  const std::string& strEvent = state.event.strName;
  const bool blUsual = std::find(USUAL_EVENTS.begin(), USUAL_EVENTS.end(), strEvent) != USUAL_EVENTS.end();
  if (blUsual && state.state.blKnown && state.state.strInstalled != "enabled") {
    findings.push_back({Severity::WARNING, "events", strEvent,
                        fmt::format("the event \"{}\" is not enabled ({}), as it usually is; no task waits for it",
                                    strEvent, state.event.strUnit),
                        eorvaCommand("event enable", {strEvent})});
  }
}

bool hasRetention(const Settings& settings) {
  return settings.cRetentionRuns != KEEP_ALL || settings.cbRetentionOutput != 0;
}

/// A timer that does what nobody looks after.
void checkTimer(const char* szTimer, const char* szWithout, HealthFindings& findings) {
  const UnitState state = unitStates({szTimer}).front();
  if (!state.blKnown) {
    return;
  }
  if (state.strInstalled != "enabled") {
    findings.push_back(
        {Severity::WARNING, "units", szTimer,
         fmt::format("{} is not {}: {}", szTimer, state.strInstalled.empty() ? "installed" : "enabled", szWithout),
         fmt::format("systemctl enable --now {}", szTimer)});
  } else if (state.strActive == "failed") {
    findings.push_back({Severity::PROBLEM, "units", szTimer, fmt::format("{} has failed: {}", szTimer, szWithout),
                        fmt::format("systemctl status {}", szTimer)});
  }
}

}  // namespace

void checkEvents(const Json::Value& jTasks, HealthFindings& findings) {
  std::set<std::string> setInUse;
  for (const Json::Value& jTask : jTasks) {
    if (boolOf(jTask, "enable", true)) {
      setInUse.insert(textOf(jTask, "event"));
    }
  }
  try {
    for (const EventState& state : eventStates()) {
      if (setInUse.count(state.event.strName) > 0) {
        checkInUse(state, findings);
      } else {
        checkUsual(state, findings);
      }
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "events", "", error.what(), "eorva event list"});
  }
}

void checkTimers(HealthFindings& findings) {
  std::vector<std::string> vecProblems;
  try {
    if (hasRetention(readSettings(vecProblems))) {
      checkTimer("eorva-prune.timer", "old runs and their output are not removed", findings);
    }
    checkTimer("eorva-mail-flush.timer", "mail that could not be handed over is not tried again", findings);
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "units", "", error.what(), "systemctl list-timers --all 'eorva-*'"});
  }
}

}  // namespace Host
