#include "event_timer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <string_view>
#include <unistd.h>

#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// The first line: only files that begin with it are changed and removed, also when the package is purged.
constexpr std::string_view MARK = "# Written by eorva, which overwrites changes: see eorva-events(7).\n";

constexpr mode_t MODE_READABLE = 0644;

constexpr std::string_view PREFIX = "eorva-event@";
constexpr std::string_view SUFFIX = ".timer";

std::string eventOf(const std::string& strUnit) {
  return unescapeUnitName(strUnit.substr(PREFIX.size(), strUnit.size() - PREFIX.size() - SUFFIX.size()));
}

std::string pathOf(const std::string& strUnit) {
  return fmt::format("{}/{}", UNIT_FOLDER, strUnit);
}

/// A timer without Unit= starts the service of its own name.
std::string textOf(const EventSettings& settings) {
  std::string strText =
      fmt::format("{}[Unit]\nDescription=Scheduler event %I\nDocumentation=man:eorva-events(7)\n\n[Timer]\n", MARK);
  for (const std::string& strCalendar : settings.vecAt) {
    strText += fmt::format("OnCalendar={}\n", strCalendar);
  }
  return strText +
         "AccuracySec=1s\n"
         "# If the server was off at that time, the event is fired when it starts.\n"
         "Persistent=true\n\n[Install]\nWantedBy=timers.target\n";
}

/// The text of a unit; nothing when there is none, an empty text for what is no file of ours.
std::optional<std::string> ownText(const std::string& strUnit) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::symlink_status(pathOf(strUnit), error);
  if (status.type() == std::filesystem::file_type::not_found) {
    return std::nullopt;
  }
  const bool blFile = status.type() == std::filesystem::file_type::regular;
  std::string strText = blFile ? readTextFile(pathOf(strUnit)).value_or("") : std::string();
  return strText.starts_with(MARK) ? strText : std::string();
}

std::optional<TimerProblem::Kind> wrongFile(const std::string& strUnit, const EventSettings& settings) {
  const std::optional<std::string> strText = ownText(strUnit);
  if (!strText) {
    return TimerProblem::MISSING;
  }
  if (strText->empty()) {
    return TimerProblem::FOREIGN;
  }
  return *strText == textOf(settings) ? std::nullopt : std::optional(TimerProblem::CHANGED);
}

std::optional<TimerProblem::Kind> wrongState(const UnitState& state, const EventSettings& settings) {
  if (!state.blKnown) {
    return std::nullopt;
  }
  const bool blEnabled = state.strInstalled == "enabled";
  if (blEnabled != settings.blEnabled) {
    return blEnabled ? TimerProblem::ENABLED : TimerProblem::DISABLED;
  }
  const bool blStopped = blEnabled && isSystemdRunning() && state.strActive != "active";
  return blStopped ? std::optional(TimerProblem::STOPPED) : std::nullopt;
}

/// The units of our own timers that exist.
std::set<std::string> ownTimers() {
  std::set<std::string> setUnits;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(UNIT_FOLDER, error)) {
    const std::string strUnit = entry.path().filename();
    if (strUnit.starts_with(PREFIX) && strUnit.ends_with(SUFFIX) && !ownText(strUnit).value_or("").empty()) {
      setUnits.insert(strUnit);
    }
  }
  return setUnits;
}

void removeTimer(const std::string& strUnit) {
  endTimer(strUnit);
  const std::string strPath = pathOf(strUnit);
  if (unlink(strPath.c_str()) < 0 && errno != ENOENT) {
    throw Failure(fmt::format("cannot remove {}: {}", strPath, std::strerror(errno)));
  }
  reloadUnits();
}

void writeTimer(const std::string& strUnit, const EventSettings& settings) {
  replaceFile(pathOf(strUnit), textOf(settings), MODE_READABLE);
  reloadUnits();
}

/// Makes one timer as its event says.
void settle(const TimerProblem& problem, const EventsByName& events) {
  if (problem.kind == TimerProblem::LEFT) {
    removeTimer(problem.strUnit);
    return;
  }
  if (problem.kind == TimerProblem::FOREIGN) {
    throw Failure(fmt::format("{} {}", problem.strUnit, problem.text()));
  }
  const EventSettings& settings = events.at(problem.strEvent);
  // A running timer would take new times between its last elapse and now as missed.
  stopTimer(problem.strUnit);
  if (problem.kind == TimerProblem::MISSING || problem.kind == TimerProblem::CHANGED) {
    writeTimer(problem.strUnit, settings);
  }
  if (settings.blEnabled) {
    startTimerAnew(problem.strUnit);
  } else {
    endTimer(problem.strUnit);
  }
}

SettledTimers settle(const std::vector<TimerProblem>& vecProblems, const EventsByName& events) {
  SettledTimers settled;
  for (const TimerProblem& problem : vecProblems) {
    try {
      settle(problem, events);
      settled.vecUnits.push_back(problem.strUnit);
    } catch (const Failure& error) {
      settled.vecFailed.emplace_back(error.what());
    }
  }
  return settled;
}

}  // namespace

std::string TimerProblem::text() const {
  switch (kind) {
    case MISSING:
      return "is missing";
    case CHANGED:
      return "was changed";
    case FOREIGN:
      return fmt::format("was not written by eorva; move {} away", pathOf(strUnit));
    case DISABLED:
      return "is not enabled";
    case ENABLED:
      return "is enabled, but the event is disabled";
    case STOPPED:
      return "does not run";
    case LEFT:
      return "belongs to no event";
  }
  return {};
}

std::vector<TimerProblem> timerProblems(const EventsByName& events) {
  std::vector<TimerProblem> vecProblems;
  std::set<std::string> setLeft = ownTimers();
  std::vector<std::string> vecUnits;
  std::vector<EventsByName::const_iterator> vecEvents;
  for (auto it = events.begin(); it != events.end(); ++it) {
    const std::string strUnit = eventTimer(it->first);
    if (it->second.vecAt.empty()) {
      continue;
    }
    setLeft.erase(strUnit);
    if (const std::optional<TimerProblem::Kind> kind = wrongFile(strUnit, it->second)) {
      vecProblems.push_back({*kind, strUnit, it->first});
    } else {
      vecUnits.push_back(strUnit);
      vecEvents.push_back(it);
    }
  }
  const std::vector<UnitState> vecStates = unitStates(vecUnits);
  for (std::size_t i = 0; i < vecUnits.size(); ++i) {
    if (const std::optional<TimerProblem::Kind> kind = wrongState(vecStates[i], vecEvents[i]->second)) {
      vecProblems.push_back({*kind, vecUnits[i], vecEvents[i]->first});
    }
  }
  std::transform(setLeft.begin(), setLeft.end(), std::back_inserter(vecProblems), [](const std::string& strUnit) {
    return TimerProblem{TimerProblem::LEFT, strUnit, eventOf(strUnit)};
  });
  return vecProblems;
}

void requireTimerPlace(const std::string& strEvent) {
  const std::string strUnit = eventTimer(strEvent);
  if (const std::optional<std::string> strText = ownText(strUnit); strText && strText->empty()) {
    throw Failure(fmt::format("{} {}", strUnit, TimerProblem{TimerProblem::FOREIGN, strUnit, strEvent}.text()));
  }
}

SettledTimers settleTimers(const ConfigLock&) {
  const EventsByName events = readOwnEvents();
  return settle(timerProblems(events), events);
}

SettledTimers settleTimer(const ConfigLock&, const std::string& strEvent) {
  const EventsByName events = readOwnEvents();
  std::vector<TimerProblem> vecProblems = timerProblems(events);
  std::erase_if(vecProblems, [&](const TimerProblem& problem) { return problem.strEvent != strEvent; });
  return settle(vecProblems, events);
}

}  // namespace Host
