#include "restore.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/coordination/execution_file.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_change_lock.h"
#include "common/text/json_members.h"

namespace Host {

/// A run that goes on would be closed in a store that knows nothing of it, and the end of an execution writes back what
/// it read before.
void checkRestore() {
  Session session;
  reconcile(session);
  std::vector<Json::Int64> vecRuns;
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    vecRuns.push_back(intOf(jRun, "result_id"));
  }
  if (!vecRuns.empty()) {
    throw Failure(fmt::format("nothing is restored while something runs: run {}", fmt::join(vecRuns, ", ")));
  }
  if (isAnyExecutionAlive()) {
    throw Failure("nothing is restored while an execution is under way; 'eorva runs list' shows when it has ended");
  }
}

Restored restore(const std::string& strFile, Owners owners) {
  const Standstill standstill("restored");
  checkRestore();
  Restored restored;
  restored.vecFiles = restoreBackup(strFile, owners, restored.vecWarnings);
  // Runs that were under way at the time of the backup have been over for long.
  Session session;
  reconcile(session);
  return restored;
}

}  // namespace Host
