#include "related_tasks.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "dependency_list.h"
#include "task_graph.h"

namespace Host {

namespace {

/// The library never returns from a circle.
void refuseEndlessWalk(const TaskGraph& graph, const std::string& strTask) {
  std::string strReasons;
  for (const std::string& strWhy : graph.whyEndless(graph.withReachedBy({strTask}))) {
    strReasons += "\n  " + strWhy;
  }
  if (!strReasons.empty()) {
    throw Failure(fmt::format("cannot list the dependencies of \"{}\":{}", strTask, strReasons));
  }
}

RelateType typeOf(Relation relation) {
  switch (relation) {
    case Relation::WAITS_FOR:
      return RTYPE_BOTTM_UP;
    case Relation::DEPENDANTS:
      return RTYPE_TOP_DOWN;
    case Relation::CANDIDATES:
      break;
  }
  return RTYPE_CANDIDATE;
}

}  // namespace

Json::Value relatedTasks(const std::string& strTask, Relation relation) {
  Session session;
  requireTask(session, strTask);
  refuseEndlessWalk(TaskGraph(listTasks(session)), strTask);
  Json::Value jIn(Json::objectValue);
  jIn["task_name"] = strTask;
  jIn["relate_type"] = typeOf(relation);
  Json::Value jOut(Json::arrayValue);
  if (recListRelate(session.tasks(), jIn, jOut, session.db()) < 0) {
    throw Failure(fmt::format("cannot list the dependencies of \"{}\"; {}", strTask, SEE_LOG));
  }
  return jOut;
}

Json::Value tasksBesides(const Json::Value& jTasks, const std::string& strTask, const std::string& strNew) {
  Json::Value jOthers(Json::arrayValue);
  for (const Json::Value& jStored : jTasks) {
    if (textOf(jStored, "task_name") == strTask) {
      continue;
    }
    std::vector<std::string> vecWaitsFor = readDependencyList(textOf(jStored, "depend_on_task"));
    if (strNew == strTask || std::find(vecWaitsFor.begin(), vecWaitsFor.end(), strTask) == vecWaitsFor.end()) {
      jOthers.append(jStored);
      continue;
    }
    std::replace(vecWaitsFor.begin(), vecWaitsFor.end(), strTask, strNew);
    Json::Value jOther = jStored;
    jOther["depend_on_task"] = writeDependencyList(vecWaitsFor);
    jOthers.append(std::move(jOther));
  }
  return jOthers;
}

}  // namespace Host
