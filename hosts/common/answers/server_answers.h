/// \file server_answers.h
/// Checks, shares, the configuration and applied changes as JSON for programs: see docs/command-json.md.

#pragma once

#include <json/value.h>
#include <string>

#include "common/health/installation_health.h"

namespace Host {

struct Shares;
struct StateDifference;

Json::Value checkForPrograms(const HealthFindings& findings);

/// An array of the shares.
Json::Value sharesForPrograms(const Shares& shares);

/// The scheduler's section of the configuration as it is stored, and the settings.
Json::Value configForPrograms();

/// A setting: its key and its value.
Json::Value settingForPrograms(const std::string& strKey, const std::string& strValue);

/// \param blApplied  whether the changes were made, or would be.
Json::Value differenceForPrograms(const StateDifference& difference, bool blApplied);

}  // namespace Host
