#include "reconcile.h"

#include <map>
#include <utility>

#include "common/coordination/execution_file.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/text/json_members.h"
#include "run_identity.h"
#include "running_list.h"
#include "settlement.h"

namespace Host {

namespace {

/// Gives the open runs whose process has ended. Of several runs with the same process id, only the newest can belong to
/// the process.
std::vector<Json::Value> staleRuns(Session& session) {
  std::vector<Json::Value> vecStale;
  std::map<pid_t, Json::Value> mapNewest;
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    const auto [it, blNew] = mapNewest.emplace(pidOf(jRun), jRun);
    if (!blNew) {
      vecStale.push_back(std::exchange(it->second, jRun));
    }
  }
  for (const auto& [pid, jRun] : mapNewest) {
    // An execution may have been killed since the settlement: it settles its runs with their true ends.
    if (!isRunAlive(jRun) && (isOfOtherBoot(jRun) || !isNoted(pid, intOf(jRun, "result_id")))) {
      vecStale.push_back(jRun);
    }
  }
  return vecStale;
}

}  // namespace

std::vector<Json::Value> reconcile(Session& session) {
  std::vector<Json::Value> vecClosed = settleExecutions(session);
  for (Json::Value& jRun : staleRuns(session)) {
    if (closeRun(session, jRun, {})) {
      vecClosed.push_back(jRun);
    }
  }
  pruneRunningLists(session);
  return vecClosed;
}

}  // namespace Host
