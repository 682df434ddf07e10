#include "execution_plan.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "eorvascheduler.h"

#include "common/config/settings.h"
#include "common/output/output_place.h"
#include "common/reasons/firing.h"
#include "common/runs/running_list.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/event_relations.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"

namespace Host {

namespace {

std::vector<GraphTask> planTasks(const TaskGraph& graph, const ExecutionRequest& request) {
  std::vector<GraphTask> vecTasks;
  if (request.blByEvent) {
    for (const GraphTask* pTask : graph.planOf(request.strName)) {
      vecTasks.push_back(*pTask);
    }
  } else if (const GraphTask* pTask = graph.find(request.strName)) {
    vecTasks.push_back(*pTask);
  } else {
    throw Failure(fmt::format("there is no task \"{}\"", request.strName));
  }
  return vecTasks;
}

/// Without an output folder, all runs of an execution share one script file. A script of one owner could run with
/// the rights of another.
void checkSharedScript(const std::vector<GraphTask>& vecTasks, std::vector<std::string>& vecWarnings) {
  std::set<Json::Int64> setOwners;
  for (const GraphTask& task : vecTasks) {
    setOwners.insert(task.iOwner);
  }
  if (setOwners.size() < 2) {
    return;
  }
  std::vector<std::string> vecProblems;
  if (!readSettings(vecProblems).blSharedScript) {
    throw Failure(
        "no output is kept, and without a folder for it a script of one owner can be run with the rights of another; "
        "to allow it, set shared_script=yes in /etc/eorva.conf",
        {Hint::SET_OUTPUT_PATH});
  }
  vecWarnings.emplace_back("no output is kept, so a script of one owner can be run with the rights of another");
}

/// Announces the tasks of the request, again and again until nothing has been changed meanwhile.
/// \return the relations that matter; the tasks of the request cannot be changed now.
Json::Value announceTasks(Session& session, const ExecutionRequest& request, TaskLock& lock) {
  std::set<std::string> setAnnounced;
  std::int64_t iVersion = dataVersion(session);
  for (;;) {
    Json::Value jTasks = relationsOf(session, request);
    std::vector<std::string> vecNew;
    for (const GraphTask& task : planTasks(TaskGraph(jTasks), request)) {
      if (setAnnounced.insert(task.strName).second) {
        vecNew.push_back(task.strName);
      }
    }
    if (!vecNew.empty()) {
      lock.announce(vecNew);
    }
    if (vecNew.empty() || std::exchange(iVersion, dataVersion(session)) == iVersion) {
      return jTasks;
    }
  }
}

}  // namespace

Json::Value relationsOf(Session& session, const ExecutionRequest& request) {
  return request.blByEvent ? listEventRelations(session, request.strName) : listRelations(session, {request.strName});
}

void refuseSecondRun(Session& session, const std::string& strTask) {
  const Json::Value jTask = requireTask(session, strTask);
  const std::vector<pid_t> vecPids = livePidsOf(session, strTask);
  if (!vecPids.empty() && !boolOf(jTask, "run_the_same_time")) {
    throw Failure(
        fmt::format("the task \"{}\" is running already (process {}), and does not allow parallel "
                    "runs",
                    strTask, fmt::join(vecPids, ", ")));
  }
}

/// The library would walk in circles for ever.
void checkGraph(const TaskGraph& graph, const std::string& strEvent) {
  std::string strReasons;
  for (const std::string& strWhy : graph.whyUnsafe(graph.planOf(strEvent))) {
    strReasons += "\n  " + strWhy;
  }
  if (!strReasons.empty()) {
    throw Failure(
        fmt::format("the event \"{}\" is not fired: its tasks cannot be run safely:{}", strEvent, strReasons));
  }
}

std::vector<std::string> prepareFolders(const std::optional<std::string>& output,
                                        const std::vector<GraphTask>& vecTasks,
                                        const std::vector<GraphTask>& vecStarted) {
  std::vector<std::string> vecWarnings;
  if (!output) {
    std::vector<GraphTask> vecAll = vecTasks;
    vecAll.insert(vecAll.end(), vecStarted.begin(), vecStarted.end());
    checkSharedScript(vecAll, vecWarnings);
    return vecWarnings;
  }
  std::map<std::string, uid_t> mapOwners;
  for (const GraphTask& task : vecTasks) {
    // The library does not launch a task without an owner.
    if (task.iOwner >= 0) {
      mapOwners[task.strName] = static_cast<uid_t>(task.iOwner);
    }
  }
  for (const auto& [strTask, strAside] : OutputPlace::of(*output).prepare(mapOwners)) {
    vecWarnings.push_back(
        fmt::format("the output folder of \"{}\" belonged to another user; it was moved to {}", strTask, strAside));
  }
  return vecWarnings;
}

namespace {

/// Prepares the plan. \throw Failure with the reason.
void makeReady(Session& session, const ExecutionRequest& request, TaskLock& lock, ExecutionPlan& plan) {
  plan.jTasks = announceTasks(session, request, lock);
  const TaskGraph graph(plan.jTasks);
  plan.vecTasks = planTasks(graph, request);
  if (request.blByEvent) {
    checkGraph(graph, request.strName);
  } else if (const std::string strWhy = whyNotTaskName(request.strName); !strWhy.empty()) {
    throw Failure(fmt::format("the task \"{}\" is not run: its name {}", request.strName, strWhy));
  } else {
    requireOwner(findTask(session, request.strName));
  }
  const std::optional<std::string> output = OutputPlace::enabledPath();
  plan.vecWarnings = prepareFolders(output, plan.vecTasks);
  if (output && !plan.vecTasks.empty()) {
    OutputPlace::of(*output).requireRoom();
  }
  for (const Json::Value& jRun : listRuns(session, "1", 1)) {
    plan.iLastRun = intOf(jRun, "result_id");
  }
}

void remember(Session& session, const ExecutionRequest& request, ExecutionPlan& plan, const std::string& strProblem) {
  if (!request.blByEvent) {
    return;
  }
  try {
    const FiringBegin begin{request.strName, static_cast<Json::Int64>(request.firedAt), plan.iLastRun, plan.vecTasks,
                            strProblem};
    plan.iFiring = rememberFiring(session, begin, plan.jTasks.isNull() ? relationsOf(session, request) : plan.jTasks);
  } catch (const std::exception& error) {
    plan.vecWarnings.push_back(
        fmt::format("cannot record which tasks this firing does not start, and why: {}", error.what()));
  }
}

}  // namespace

ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock) {
  ExecutionPlan plan;
  try {
    makeReady(session, request, lock, plan);
  } catch (const Failure& failure) {
    remember(session, request, plan, failure.what());
    throw;
  }
  remember(session, request, plan, {});
  return plan;
}

}  // namespace Host
