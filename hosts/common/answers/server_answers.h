/// \file server_answers.h
/// Checks and shares for programs; docs/command-json.md tells their members.

#pragma once

#include <json/value.h>

#include "common/health/installation_health.h"

namespace Host {

struct Shares;

Json::Value checkForPrograms(const HealthFindings& findings);

/// An array of the shares.
Json::Value sharesForPrograms(const Shares& shares);

}  // namespace Host
