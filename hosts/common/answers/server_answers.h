/// \file server_answers.h
/// Checks and shares as JSON for programs: see docs/command-json.md.

#pragma once

#include <json/value.h>

#include "common/health/installation_health.h"

namespace Host {

struct Shares;

Json::Value checkForPrograms(const HealthFindings& findings);

/// An array of the shares.
Json::Value sharesForPrograms(const Shares& shares);

}  // namespace Host
