#include "task_change.h"

#include <chrono>
#include <fmt/format.h>
#include <thread>

#include "eorvascheduler.h"

#include "common/runs/reconcile.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "task_change_lock.h"
#include "task_members.h"
#include "task_rules.h"

namespace {

/// The members that are new or different.
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
  if (strScript && Host::textOf(jBefore, "operation") != *strScript) {
    throw Host::Failure(fmt::format("the script of \"{}\" was changed by somebody else meanwhile", strTask));
  }
  if (Host::textOf(jTask, "task_name") != strTask) {
    throw Host::Failure(
        fmt::format("the record has another task_name than \"{}\": 'eorva task rename' gives a task a "
                    "new name",
                    strTask));
  }
}

struct Stored {
  Json::Value jDifferent;  ///< the members that were changed
  std::vector<Host::Finding> vecWarnings;
};

/// One try, in one transaction.
Stored store(Host::Session& session, const std::string& strTask, const Json::Value& jChanges, Host::Events events,
             const std::optional<std::string>& strScript) {
  Host::WriteLock lock(session);
  const Json::Value jBefore = Host::requestOf(Host::requireTask(session, strTask));
  Json::Value jTask = jBefore;
  for (const std::string& strMember : jChanges.getMemberNames()) {
    jTask[strMember] = jChanges[strMember];
  }
  checkChange(strTask, jTask, jBefore, strScript);
  std::vector<Host::Finding> vecWarnings = Host::requireNoErrors(
      strTask, Host::checkChangedTask(jTask, jBefore, Host::listTasks(session), events), "changed");
  const Json::Value jDifferent = differences(jTask, jBefore);
  Json::Value jUpdate = jDifferent;
  jUpdate["task_name"] = strTask;
  if ((jUpdate.isMember("owner") && taskPreAction(jUpdate) < 0) ||
      recUpdate(session.tasks(), jUpdate, session.db()) < 0) {
    throw Host::Failure(fmt::format("the store refused to change the task \"{}\"", strTask));
  }
  lock.commit();
  return {jDifferent, std::move(vecWarnings)};
}

/// A run that goes on stays its owner's: what it leaves, and the mail about it, are read in the task's owner's name.
Host::TaskChange lockForChange(Host::Session& session, const std::string& strTask, const Json::Value& jChanges) {
  const Json::Value jBefore = Host::requestOf(Host::requireTask(session, strTask));
  if (jChanges.isMember("owner") && jChanges["owner"] != jBefore["owner"]) {
    return Host::TaskChange(session, {strTask}, "given another owner", Host::TaskChange::Running::REFUSED);
  }
  return Host::TaskChange(session, {strTask}, "changed", Host::TaskChange::Running::ALLOWED);
}

/// The end of a run writes back the whole record that was read a moment before; a change that came in between is
/// made again.
void makeSure(Host::Session& session, const std::string& strTask, Json::Value jDifferent) {
  while (!Host::livePidsOf(session, strTask).empty()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const Json::Value jNow = Host::requestOf(Host::requireTask(session, strTask));
    if (differences(jDifferent, jNow).empty()) {
      return;
    }
    store(session, strTask, jDifferent, Host::Events::ANY, std::nullopt);
  }
}

}  // namespace

TaskChanged changeTask(const std::string& strTask, const Json::Value& jChanges, Host::Events events,
                       const std::optional<std::string>& strScript) {
  Host::Session session;
  const Host::TaskChange change = lockForChange(session, strTask, jChanges);
  const Stored stored = store(session, strTask, jChanges, events, strScript);
  makeSure(session, strTask, stored.jDifferent);
  return {stored.jDifferent.getMemberNames(), stored.vecWarnings};
}
