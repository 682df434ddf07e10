/// \file outcome.h
/// The outcome of a run, from its record.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Member of `extra` in the record of a run whose output was cut: how much had been written.
inline constexpr char OUTPUT_CUT[] = "output_cut";

/// Member of `extra` in the record of a run that was not started: why its owner could not enter its directory.
inline constexpr char DIRECTORY_ERROR[] = "directory_error";

/// Member of `extra` in the record of a run of which the kernel has killed processes at its memory limit: true.
inline constexpr char OUT_OF_MEMORY[] = "out_of_memory";

/// The exit type of a run whose exit status is unknown, since its process had ended.
inline constexpr char EXIT_INTERRUPTED[] = "interrupted";

/// \name Why a run ended early: the member "ended_by" of its record
/// @{
inline constexpr char ENDED_STOPPED[] = "stopped";        ///< somebody asked for it
inline constexpr char ENDED_TIME_LIMIT[] = "time_limit";  ///< over the time limit of its task
inline constexpr char ENDED_BUDGET[] = "budget";          ///< over the budget of its execution
inline constexpr char ENDED_SHUTDOWN[] = "shutdown";      ///< the server shuts down
inline constexpr char ENDED_KILLED[] = "killed";          ///< its process was killed, by its owner or the kernel
/// @}

struct Outcome {
  enum class Kind { RUNNING, OK, FAILED };

  Kind kind = Kind::RUNNING;
  std::string strText;         ///< for a table: "exit 3"
  std::string strExplanation;  ///< for one run: more precise than strText
};

/// Explains a run record.
Outcome outcomeOf(const Json::Value& jRun);

/// The outcome of a task's newest run.
/// \param jRun  the record of that run. Without it, or if the task has started again, the task's own members tell.
Outcome lastOutcomeOf(const Json::Value& jTask, const Json::Value& jRun);

/// Writes a run that failed to the event log. \param jRun  its record, at its end.
void logFailure(const Json::Value& jRun);

/// A WHERE text for the runs with this outcome, as outcomeOf() gives it.
std::string whereOutcome(Outcome::Kind kind);

/// A WHERE text for the failed runs that are shown as interrupted.
std::string whereInterrupted();

/// Tells whether a run was closed after its process had ended, because its execution was cut off.
bool isInterrupted(const Json::Value& jRun);

/// The word for it in machine-readable output: "running", "ok" or "failed".
const char* outcomeWord(Outcome::Kind kind);

}  // namespace Host
