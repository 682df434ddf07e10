#include "task_answers.h"

#include "common/server/users.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_graph.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"

namespace Host {

std::string ownerText(const Json::Value& jRecord) {
  const Json::Value& jOwner = memberOf(jRecord, "owner");
  if (!jOwner.isInt64()) {
    return "-";
  }
  const std::string strStored = textOf(jRecord, "owner_name");
  const std::string strName = strStored.empty() ? userName(static_cast<uid_t>(jOwner.asInt64())) : strStored;
  return strName.empty() ? jOwner.asString() : strName;
}

OwnerNames ownerNames(const Json::Value& jTasks) {
  OwnerNames owners;
  for (const Json::Value& jTask : jTasks) {
    owners[textOf(jTask, "task_name")] = ownerText(jTask);
  }
  return owners;
}

Json::Value taskForPrograms(const Json::Value& jTask) {
  Json::Value jOut = jTask;
  makeTimesTrue(jOut);
  jOut["owner_name"] = ownerText(jTask);
  jOut["waits_for"] = arrayOf(readDependencyList(textOf(jTask, "depend_on_task")));
  return jOut;
}

Json::Value graphNodeForPrograms(const TaskGraph& graph, const Json::Value& jTask) {
  Json::Value jNode = taskForPrograms(jTask);
  jNode["needed_by"] = arrayOf(graph.dependantsOf(textOf(jTask, "task_name")),
                               [](const GraphTask* pTask) { return Json::Value(pTask->strName); });
  return jNode;
}

}  // namespace Host
