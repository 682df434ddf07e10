/// \file start_second.h
/// Gives every start of a task a second of its own.

#pragma once

#include <set>
#include <string>

namespace Host {

class Session;

/// Waits for a second in which none of these tasks was started, and claims it.
///
/// A run folder is named after the task and the second of its start. A second start in the same second, also by
/// another process, would overwrite the running script. Run records are not enough to find out, since they are
/// written after the start.
/// \throw Failure when the claim cannot be written.
void claimStartSecond(Session& session, const std::set<std::string>& setTasks);

}  // namespace Host
