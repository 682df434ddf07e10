/// \file check.h
/// All checks of an installation, and the repair.

#pragma once

#include <json/value.h>
#include <string>
#include <utility>
#include <vector>

#include "installation_health.h"

namespace Host {

struct Repairs {
  std::vector<Json::Value> vecRuns;                             ///< records of the runs that were closed
  std::vector<std::pair<std::string, std::string>> vecOutputs;  ///< tasks, and where their output lay
  std::string strProblem;                                       ///< why something could not be repaired
};

/// Closes runs whose process has ended, and moves back output that an interrupted rename left elsewhere.
Repairs repairInstallation();

/// Runs all checks. A check that fails is a finding, too.
HealthFindings checkInstallation();

/// How many of the findings are problems; the others are warnings.
std::size_t problemsAmong(const HealthFindings& findings);

}  // namespace Host
