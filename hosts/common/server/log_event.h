/// \file log_event.h
/// Writes to the event log what the programs themselves do. The library writes other events.

#pragma once

#include <string>

namespace Host {

/// The codes in the log catalogue; it has the texts.
enum class LogEvent : unsigned {
  TASK_CREATED = 0x14400004,
  TASK_DELETED = 0x14400005,
  TASK_CHANGED = 0x14400007,  ///< and what was changed
  TASK_ENABLED = 0x14400008,
  TASK_DISABLED = 0x14400009,
  EVENT_ENABLED = 0x1440000A,
  EVENT_DISABLED = 0x1440000B,
  EVENT_ADDED = 0x1440000C,
  EVENT_CHANGED = 0x1440000D,
  EVENT_REMOVED = 0x1440000E,
  SETTING_CHANGED = 0x1440000F,  ///< and its value
  RUN_FAILED = 0x14400202,       ///< task, run, outcome, event
  RUN_STOPPED = 0x14400203,      ///< task, run
  RUNS_PRUNED = 0x14400204,      ///< runs, outputs without their runs, size
};

/// Logs an event with its arguments, the first of them without a gap.
void logEvent(LogEvent event, const std::string& strFirst, const std::string& strSecond = {},
              const std::string& strThird = {}, const std::string& strFourth = {});

}  // namespace Host
