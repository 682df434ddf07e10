/// \file start_second.h
/// The second in which tasks start.

#pragma once

#include <set>
#include <string>

namespace Host {

class Session;

/// Waits for a second in which none of these tasks has been started, and claims it for them.
///
/// The folder of a run is named by its task and the second of its start: a second start within it, by another
/// process too, would overwrite the script that is being run. Run records alone would not tell, for a start is
/// recorded only after it was made.
/// \throw Failure when the claim cannot be written down.
void claimStartSecond(Session& session, const std::set<std::string>& setTasks);

}  // namespace Host
