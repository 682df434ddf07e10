#include "related_tasks.h"

#include <fmt/format.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
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

}  // namespace Host
