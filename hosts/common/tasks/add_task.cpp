#include "add_task.h"

#include <fmt/format.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "task_members.h"
#include "task_owner.h"

namespace Host {

namespace {

/// Stores a task while the write lock is held: the tasks that the rules were checked against must not change.
TaskAdded store(Session& session, WriteLock& lock, Json::Value jTask, AllowedEvents events) {
  const std::string strTask = textOf(jTask, "task_name");
  fillDefaults(jTask);
  std::vector<Finding> vecWarnings = requireNoErrors(strTask, checkNewTask(jTask, listTasks(session), events), "added");
  Json::Value jCreated;
  if (!toStored(jTask) || recCreate(session.tasks(), jTask, jCreated) < 0) {
    throw Failure(fmt::format("the store refused the task \"{}\"; {}", strTask, SEE_LOG));
  }
  lock.commit();
  return {std::move(jTask), std::move(vecWarnings)};
}

}  // namespace

TaskAdded addTask(Json::Value jTask, AllowedEvents events) {
  Session session;
  WriteLock lock(session);
  return store(session, lock, std::move(jTask), events);
}

TaskAdded copyTask(const std::string& strTask, const std::string& strNew, const Json::Value& jChanges,
                   AllowedEvents events) {
  Session session;
  WriteLock lock(session);
  Json::Value jTask = requestOf(requireTask(session, strTask));
  setMembers(jTask, jChanges);
  jTask["task_name"] = strNew;
  return store(session, lock, std::move(jTask), events);
}

}  // namespace Host
