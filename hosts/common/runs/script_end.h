/// \file script_end.h
/// How the script of a run ended, as the system told it.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>

namespace Host {

struct ScriptEnd {
  enum class Kind { EXITED, KILLED, NOT_STARTED };

  Kind kind = Kind::NOT_STARTED;
  int iNumber = 0;  ///< the exit status, or the signal
};

/// Reads the member "shell_status" of a run record: the wait status of the shell that ran the script, or -1.
/// \return nothing when the record does not have it.
std::optional<ScriptEnd> scriptEndOf(const Json::Value& jRun);

/// The name of a signal, such as "SIGKILL"; empty for a number that has none.
std::string signalName(Json::Int64 iSignal);

}  // namespace Host
