#include "restore.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/coordination/execution_file.h"
#include "common/events/event_timer.h"
#include "common/runs/reconcile.h"
#include "common/store/database.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/store/store_tables.h"
#include "common/support/failure.h"
#include "common/tasks/task_change_lock.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

/// \return false when there can be no runs: the store is lost.
bool hasTables() {
  return tablesOf(openStore().get()) != StoreTables::NONE;
}

void refuseRuns() {
  const OpenStore session;
  reconcile(session);
  std::vector<Json::Int64> vecRuns;
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    vecRuns.push_back(intOf(jRun, "result_id"));
  }
  if (!vecRuns.empty()) {
    throw Failure(
        fmt::format("cannot restore while run {} is running; stop it, or wait for its end", fmt::join(vecRuns, ", ")));
  }
}

}  // namespace

/// An execution writes back records that it read before, and would overwrite restored ones.
void checkRestore() {
  Session::requireFile();
  if (hasTables()) {
    refuseRuns();
  }
  if (isAnyExecutionAlive()) {
    throw Failure("cannot restore while an execution is running; wait for its end");
  }
}

Restored restore(const std::string& strFile, Owners owners) {
  const ReadBackup backup = readBackup(strFile, owners);
  const Standstill standstill("restored");
  checkRestore();
  Restored restored;
  restored.vecFiles = restoreBackup(backup);
  restored.vecWarnings = backup.vecWarnings;
  const OpenStore session;
  // Runs that went on during the backup have ended since.
  try {
    reconcile(session);
  } catch (const Failure& error) {
    restored.vecWarnings.push_back(fmt::format("interrupted runs may be shown as running: {}", error.what()));
  }
  for (const std::string& strFailed : settleTimers(ConfigLock()).vecFailed) {
    restored.vecWarnings.push_back(fmt::format("the timer of an event is not as restored: {}", strFailed));
  }
  return restored;
}

}  // namespace Host
