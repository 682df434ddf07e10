#include <algorithm>
#include <array>
#include <set>

#include "common/config/settings.h"
#include "common/events/event_state.h"
#include "common/events/event_timer.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "installation_health.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// Enabled by installation: a task that is added later would miss the event.
constexpr std::array<const char*, 2> USUAL_EVENTS = {"bootup", "shutdown"};

/// Finds why an event with tasks is not fired.
void checkInUse(const EventState& state, HealthFindings& findings) {
  const std::string& strEvent = state.event.strName;
  if (state.event.blOwn && state.event.vecAt.empty()) {
    // Added for a command or a unit that is not known here.
    return;
  }
  if (state.vecFiredBy.empty() || !state.state.blKnown) {
    findings.push_back({Severity::WARNING,
                        state.blInCatalogue && state.state.blKnown ? "event_without_unit" : "event_not_installed",
                        strEvent, Json::objectValue});
  } else if (state.state.strActive == "failed") {
    findings.push_back({Severity::PROBLEM, "event_failed", strEvent, objectOf({{"unit", state.vecFiredBy.front()}})});
  } else if (state.state.strInstalled != "enabled" && state.state.strInstalled != "static") {
    findings.push_back({Severity::PROBLEM, state.event.strUnit.empty() ? "own_event_disabled" : "event_disabled",
                        strEvent, objectOf({{"unit", state.vecFiredBy.front()}})});
  }
}

/// Only a warning: no task misses the event yet.
void checkUsual(const EventState& state, HealthFindings& findings) {
  const std::string& strEvent = state.event.strName;
  const bool blUsual = std::find(USUAL_EVENTS.begin(), USUAL_EVENTS.end(), strEvent) != USUAL_EVENTS.end();
  if (blUsual && state.state.blKnown && state.state.strInstalled != "enabled") {
    findings.push_back(
        {Severity::WARNING, "usual_event_disabled", strEvent, objectOf({{"unit", state.event.strUnit}})});
  }
}

bool hasRetention(const Settings& settings) {
  return settings.cRetentionRuns != KEEP_ALL || settings.cbRetentionOutput != 0;
}

/// Checks a timer, if systemd can be asked.
void checkTimer(const char* szTimer, HealthFindings& findings) {
  const UnitState state = unitStates({szTimer}).front();
  if (!state.blKnown) {
    return;
  }
  if (state.strInstalled != "enabled") {
    findings.push_back({Severity::WARNING, state.strInstalled.empty() ? "timer_not_installed" : "timer_disabled",
                        szTimer, Json::objectValue});
  } else if (state.strActive == "failed") {
    findings.push_back({Severity::PROBLEM, "timer_failed", szTimer, Json::objectValue});
  }
}

/// Compares the timers with the stored events. \return the events whose timers are reported.
std::set<std::string> checkEventTimers(const EventsByName& events, HealthFindings& findings) {
  std::set<std::string> setReported;
  for (const TimerProblem& problem : timerProblems(events)) {
    const bool blForeign = problem.kind == TimerProblem::FOREIGN;
    findings.push_back({Severity::PROBLEM, blForeign ? "foreign_event_timer" : "event_timer", problem.strEvent,
                        objectOf({{"unit", problem.strUnit}, {"problem", problem.text()}})});
    setReported.insert(problem.strEvent);
  }
  return setReported;
}

}  // namespace

void checkEvents(const Json::Value& jTasks, HealthFindings& findings) {
  std::set<std::string> setInUse;
  for (const Json::Value& jTask : jTasks) {
    if (boolOf(jTask, "enable", true)) {
      setInUse.insert(textOf(jTask, "event"));
    }
  }
  EventsByName own;
  try {
    own = readOwnEvents();
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "own_events_file", OWN_EVENTS_PATH, objectOf({{"problem", error.what()}})});
    return;
  }
  try {
    const std::set<std::string> setReported = checkEventTimers(own, findings);
    for (const EventState& state : eventStates()) {
      if (setReported.count(state.event.strName) > 0) {
        continue;
      }
      if (setInUse.count(state.event.strName) > 0) {
        checkInUse(state, findings);
      } else {
        checkUsual(state, findings);
      }
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "events_unknown", "", objectOf({{"problem", error.what()}})});
  }
}

void checkTimers(HealthFindings& findings) {
  std::vector<std::string> vecProblems;
  try {
    if (hasRetention(readSettings(vecProblems))) {
      checkTimer(PRUNE_TIMER, findings);
    }
    checkTimer(MAIL_TIMER, findings);
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "timers_unknown", "", objectOf({{"problem", error.what()}})});
  }
}

}  // namespace Host
