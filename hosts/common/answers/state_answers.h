/// \file state_answers.h
/// The configuration and applied changes as JSON for programs: see docs/command-json.md.

#pragma once

#include <json/value.h>

namespace Host {

struct StateDifference;

/// The scheduler's section of the configuration as it is stored, and the settings.
Json::Value configForPrograms();

/// \param blApplied  whether the changes were made, or would be.
Json::Value differenceForPrograms(const StateDifference& difference, bool blApplied);

}  // namespace Host
