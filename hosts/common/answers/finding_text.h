/// \file finding_text.h
/// Findings in words.

#pragma once

#include <string>

#include "common/health/installation_health.h"

namespace Host {

/// A sentence that says what is wrong.
std::string findingText(const HealthFinding& finding);

/// The command to type.
std::string findingAdvice(const HealthFinding& finding);

/// "store", "configuration", "shares", "output", "mail", "events", "units", "runs" or "tasks".
const char* findingArea(const HealthFinding& finding);

/// "problem" or "warning".
const char* severityWord(HealthFinding::Severity severity);

}  // namespace Host
