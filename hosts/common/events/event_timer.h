/// \file event_timer.h
/// The timers of the administrators' own events. They follow from the stored events: whatever is wrong with one can be
/// set right from there.

#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "common/coordination/config_lock.h"
#include "own_events.h"

namespace Host {

/// How a timer differs from the stored event.
struct TimerProblem {
  enum Kind : std::uint8_t {
    MISSING,
    CHANGED,
    FOREIGN,   ///< somebody else's file has its name
    DISABLED,  ///< though the event is enabled
    ENABLED,   ///< though the event is disabled
    STOPPED,   ///< though it is enabled
    LEFT,      ///< its event was removed, or has no times any more
  };

  Kind kind = MISSING;
  std::string strUnit;
  std::string strEvent;

  /// Continues a sentence that begins with the unit.
  std::string text() const;
};

/// Compares all timers with the stored events. \throw Failure when systemd cannot be asked.
std::vector<TimerProblem> timerProblems(const EventsByName& events);

/// \throw Failure when somebody else's file is where the timer of an event would be.
void requireTimerPlace(const std::string& strEvent);

struct SettledTimers {
  std::vector<std::string> vecUnits;   ///< timers that were wrong, and are right now
  std::vector<std::string> vecFailed;  ///< what could not be done, a sentence each
};

/// Makes timers as the stored events say, and removes those that are left. \throw Failure when nothing can be done.
SettledTimers settleTimers(const ConfigLock& lock);

/// The same for the timer of one event, which may have been removed.
SettledTimers settleTimer(const ConfigLock& lock, const std::string& strEvent);

}  // namespace Host
