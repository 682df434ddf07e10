/// \file outcome.h
/// What a run record says about how its run ended.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// The exit type of a run whose process was gone before anybody could ask how it ended.
inline constexpr char EXIT_INTERRUPTED[] = "interrupted";

/// \name Why a run was ended before it ended by itself, in the member "ended_by" of its record
/// @{
inline constexpr char ENDED_STOPPED[] = "stopped";        ///< somebody asked for it
inline constexpr char ENDED_TIME_LIMIT[] = "time_limit";  ///< its task may not run longer
inline constexpr char ENDED_BUDGET[] = "budget";          ///< its execution may not run longer
inline constexpr char ENDED_SHUTDOWN[] = "shutdown";      ///< the server shuts down
/// @}

struct Outcome {
  enum class Kind { RUNNING, OK, FAILED };

  Kind kind = Kind::RUNNING;
  std::string strText;         ///< for a table: "exit 3 or signal 3 (SIGQUIT)"
  std::string strExplanation;  ///< for one run: a sentence
};

/// Explains a run record.
Outcome outcomeOf(const Json::Value& jRun);

/// A WHERE text for the runs that ended so; it agrees with outcomeOf().
std::string whereOutcome(Outcome::Kind kind);

/// The word for it in machine-readable output: "running", "ok" or "failed".
const char* outcomeWord(Outcome::Kind kind);

}  // namespace Host
