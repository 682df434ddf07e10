#include "change_task.h"

#include <chrono>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <thread>

#include "common/runs/running_list.h"
#include "common/server/log_event.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "task_change_lock.h"
#include "task_members.h"
#include "task_owner.h"
#include "task_rules.h"

namespace Host {

namespace {

/// The members of the first record that are new or different.
Json::Value differences(const Json::Value& jTask, const Json::Value& jBefore) {
  Json::Value jUpdate(Json::objectValue);
  for (const std::string& strMember : jTask.getMemberNames()) {
    if (!jBefore.isMember(strMember) || jBefore[strMember] != jTask[strMember]) {
      jUpdate[strMember] = jTask[strMember];
    }
  }
  return jUpdate;
}

void checkChange(const std::string& strTask, const Json::Value& jTask, const Json::Value& jBefore,
                 const std::optional<std::string>& strScript) {
  if (strScript && textOf(jBefore, "operation") != *strScript) {
    throw Failure(fmt::format("somebody else changed the script of \"{}\" meanwhile", strTask));
  }
  if (textOf(jTask, "task_name") != strTask) {
    throw Failure(fmt::format("the record has another task_name than \"{}\"", strTask), {Hint::RENAME_TASK, {strTask}});
  }
}

struct Stored {
  Json::Value jDifferent;  ///< the members that were changed
  std::vector<Finding> vecWarnings;
};

/// Makes the change, in one transaction.
Stored store(Session& session, const std::string& strTask, const Json::Value& jChanges, AllowedEvents events,
             const std::optional<std::string>& strScript) {
  WriteLock lock(session);
  const Json::Value jBefore = requestOf(requireTask(session, strTask));
  Json::Value jTask = jBefore;
  setMembers(jTask, jChanges);
  checkChange(strTask, jTask, jBefore, strScript);
  std::vector<Finding> vecWarnings =
      requireNoErrors(strTask, checkChangedTask(jTask, jBefore, listTasks(session), events), "changed");
  const Json::Value jDifferent = differences(jTask, jBefore);
  Json::Value jUpdate = jDifferent;
  jUpdate["task_name"] = strTask;
  if (!toStored(jUpdate) || recUpdate(session.tasks(), jUpdate, session.db()) < 0) {
    throw Failure(fmt::format("the store refused to change the task \"{}\"; {}", strTask, SEE_LOG));
  }
  lock.commit();
  return {jDifferent, std::move(vecWarnings)};
}

/// The owner cannot change during a run: its output and mail are read with the owner's rights.
TaskChange lockForChange(Session& session, const std::string& strTask, const Json::Value& jChanges) {
  const Json::Value jBefore = requestOf(requireTask(session, strTask));
  if (jChanges.isMember("owner") && jChanges["owner"] != jBefore["owner"]) {
    return TaskChange(session, {strTask}, "given another owner", TaskChange::Running::REFUSED);
  }
  return TaskChange(session, {strTask}, "changed", TaskChange::Running::ALLOWED);
}

/// The end of a run writes back a whole record that the library read before. So the change is repeated when it was
/// lost.
void makeSure(Session& session, const std::string& strTask, Json::Value jDifferent) {
  while (!livePidsOf(session, strTask).empty()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Json::Value jNow = requestOf(requireTask(session, strTask));
    if (differences(jDifferent, jNow).empty()) {
      return;
    }
    store(session, strTask, jDifferent, AllowedEvents::ANY, std::nullopt);
  }
}

void logChange(const std::string& strTask, const Json::Value& jDifferent) {
  const std::vector<std::string> vecMembers = jDifferent.getMemberNames();
  if (vecMembers == std::vector<std::string>{"enable"}) {
    logEvent(boolOf(jDifferent, "enable") ? LogEvent::TASK_ENABLED : LogEvent::TASK_DISABLED, strTask);
  } else if (!vecMembers.empty()) {
    logEvent(LogEvent::TASK_CHANGED, strTask, fmt::format("{}", fmt::join(memberWords(vecMembers), ", ")));
  }
}

}  // namespace

TaskChanged changeTask(const std::string& strTask, const Json::Value& jChanges, AllowedEvents events,
                       const std::optional<std::string>& strScript) {
  Session session;
  const TaskChange change = lockForChange(session, strTask, jChanges);
  const Stored stored = store(session, strTask, jChanges, events, strScript);
  logChange(strTask, stored.jDifferent);
  makeSure(session, strTask, stored.jDifferent);
  return {stored.jDifferent.getMemberNames(), stored.vecWarnings};
}

}  // namespace Host
