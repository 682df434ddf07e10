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
  std::vector<std::string> vecTimers;                           ///< timers that were set right
  std::string strTimerProblem;                                  ///< why timers were not set right
  std::string strProblem;                                       ///< why output was not moved back
  std::string strStoreProblem;                                  ///< why runs were not closed
};

/// Closes runs whose process has ended, moves back output that an interrupted rename left elsewhere, and sets the
/// timers of events right.
Repairs repairInstallation();

/// Runs all checks. A check that fails is a finding, too.
/// \param strStoreProblem  from a repair.
HealthFindings checkInstallation(const std::string& strStoreProblem = {});

/// How many of the findings are problems; the others are warnings.
std::size_t problemsAmong(const HealthFindings& findings);

}  // namespace Host
