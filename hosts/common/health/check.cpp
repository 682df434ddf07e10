#include "check.h"

#include <algorithm>

#include "common/events/event_timer.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/tasks/unfinished_rename.h"

namespace Host {

namespace {

/// \return the stored tasks; none when the store cannot be read.
Json::Value checkRecords(const std::string& strStoreProblem, HealthFindings& findings) {
  Json::Value jTasks(Json::arrayValue);
  try {
    const OpenStore session;
    jTasks = listTasks(session);
    if (!strStoreProblem.empty()) {
      throw Failure(strStoreProblem);
    }
    checkRuns(session, findings);
    checkUnfinishedRenames(session, findings);
    checkStoreFiles(findings);
    checkStoreContent(findings);
  } catch (const Failure& error) {
    reportUnusableStore(error.what(), findings);
    checkStoreFiles(findings);
  }
  return jTasks;
}

/// The check that follows reports what is still wrong.
void repairTimers(Repairs& repairs) {
  try {
    repairs.vecTimers = settleTimers(ConfigLock()).vecUnits;
  } catch (const Failure& error) {
    repairs.strTimerProblem = error.what();
  }
}

}  // namespace

Repairs repairInstallation() {
  Repairs repairs;
  repairTimers(repairs);
  try {
    const OpenStore session;
    repairs.vecRuns = reconcile(session);
  } catch (const Failure& error) {
    repairs.strStoreProblem = error.what();
    return repairs;
  }
  try {
    const OpenStore session;
    for (const UnfinishedRename& rename : finishRenames(session)) {
      repairs.vecOutputs.emplace_back(rename.strTask, rename.path());
    }
  } catch (const Failure& error) {
    repairs.strProblem = error.what();
  }
  return repairs;
}

HealthFindings checkInstallation(const std::string& strStoreProblem) {
  HealthFindings findings;
  const Json::Value jTasks = checkRecords(strStoreProblem, findings);
  checkConfiguration(jTasks, findings);
  checkMailProgram(jTasks, findings);
  checkEvents(jTasks, findings);
  checkTimers(findings);
  checkPruning(findings);
  checkControlGroups(jTasks, findings);
  checkTasks(jTasks, findings);
  return findings;
}

std::size_t problemsAmong(const HealthFindings& findings) {
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), [](const HealthFinding& finding) {
    return finding.severity == HealthFinding::Severity::PROBLEM;
  }));
}

}  // namespace Host
