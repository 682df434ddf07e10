#include "restore.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/coordination/execution_file.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/tasks/task_change_lock.h"
#include "common/text/json_members.h"

namespace Host {

/// An execution writes back records that it read before, and would overwrite restored ones.
void checkRestore() {
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
  if (isAnyExecutionAlive()) {
    throw Failure("cannot restore while an execution is running; wait for its end");
  }
}

Restored restore(const std::string& strFile, Owners owners) {
  const Standstill standstill("restored");
  checkRestore();
  Restored restored;
  restored.vecFiles = restoreBackup(strFile, owners, restored.vecWarnings);
  // Runs that went on during the backup have ended since.
  try {
    const OpenStore session;
    reconcile(session);
  } catch (const Failure& error) {
    restored.vecWarnings.push_back(fmt::format("interrupted runs may be shown as running: {}", error.what()));
  }
  return restored;
}

}  // namespace Host
