#include "state_change.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <set>

#include "eorvascheduler.h"

#include "common/output/output_place.h"
#include "common/server/log_event.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_change_lock.h"
#include "common/tasks/task_owner.h"
#include "common/text/json_members.h"
#include "event_changes.h"
#include "joint_change.h"

namespace Host {

namespace {

TaskGraph graphOf(const StateDocument& state) {
  Json::Value jTasks(Json::arrayValue);
  for (const auto& [strName, jTask] : state.mapTasks) {
    Json::Value& jShort = jTasks.append(Json::objectValue);
    // Scripts can be long, and the graph does not need them.
    for (const char* szMember : {"task_name", "event", "enable", "depend_on_task"}) {
      jShort[szMember] = memberOf(jTask, szMember);
    }
  }
  return TaskGraph(jTasks);
}

std::vector<std::string> errorsOf(const std::string& strTask, const Findings& findings) {
  std::vector<std::string> vecErrors;
  vecErrors.reserve(findings.vecErrors.size());
  for (const Finding& error : findings.vecErrors) {
    vecErrors.push_back(fmt::format("task \"{}\": {}", strTask, error.text()));
  }
  return vecErrors;
}

/// Tells whether a task waits for one that is created, changed or deleted.
bool waitsForChange(const Json::Value& jTask, const std::set<std::string>& setTouched) {
  const std::vector<std::string> vecWaitsFor = readDependencyList(textOf(jTask, "depend_on_task"));
  return std::any_of(vecWaitsFor.begin(), vecWaitsFor.end(),
                     [&](const std::string& strAwaited) { return setTouched.count(strAwaited) > 0; });
}

std::set<std::string> touchedTasks(const StateDifference& difference) {
  std::set<std::string> setTouched(difference.vecCreated.begin(), difference.vecCreated.end());
  setTouched.insert(difference.vecChanged.begin(), difference.vecChanged.end());
  setTouched.insert(difference.vecDeleted.begin(), difference.vecDeleted.end());
  return setTouched;
}

/// New faults of a task that is unchanged.
std::vector<std::string> newErrors(const Json::Value& jTask, const TaskGraph& before, const TaskGraph& after,
                                   AllowedEvents events, ServerFacts& facts) {
  const std::string strTask = textOf(jTask, "task_name");
  const std::vector<std::string> vecOld =
      errorsOf(strTask, checkTaskAmong(jTask, TaskName::KEPT, before, events, facts));
  const std::set<std::string> setOld(vecOld.begin(), vecOld.end());
  std::vector<std::string> vecErrors;
  for (std::string& strError : errorsOf(strTask, checkTaskAmong(jTask, TaskName::KEPT, after, events, facts))) {
    if (setOld.count(strError) == 0) {
      vecErrors.push_back(std::move(strError));
    }
  }
  return vecErrors;
}

void checkTasks(const StateDocument& before, const StateDocument& after, AllowedEvents events, StateFindings& all) {
  const StateDifference difference = differenceOf(before, after);
  const std::set<std::string> setTouched = touchedTasks(difference);
  const TaskGraph graphBefore = graphOf(before);
  const TaskGraph graphAfter = graphOf(after);
  ServerFacts facts;
  for (const auto& [strEvent, settings] : after.events) {
    facts.addEvent(strEvent);
  }
  for (const auto& [strTask, jTask] : after.mapTasks) {
    if (setTouched.count(strTask) == 0) {
      if (waitsForChange(jTask, setTouched)) {
        const std::vector<std::string> vecNew = newErrors(jTask, graphBefore, graphAfter, events, facts);
        all.vecErrors.insert(all.vecErrors.end(), vecNew.begin(), vecNew.end());
      }
      continue;
    }
    const TaskName name = before.mapTasks.count(strTask) > 0 ? TaskName::KEPT : TaskName::NEW;
    const Findings findings = checkTaskAmong(jTask, name, graphAfter, events, facts);
    for (std::string& strError : errorsOf(strTask, findings)) {
      all.vecErrors.push_back(std::move(strError));
    }
    if (findings.hint.kind != Hint::NONE) {
      all.hint = findings.hint;
    }
    for (const Finding& warning : findings.vecWarnings) {
      all.vecWarnings.push_back(fmt::format("task \"{}\": {}", strTask, warning.text()));
    }
  }
}

ConfigValues changedConfig(const StateDocument& before, const StateDocument& after) {
  ConfigValues values;
  for (const auto& [strKey, strValue] : after.config) {
    const auto itBefore = before.config.find(strKey);
    if (itBefore == before.config.end() || itBefore->second != strValue) {
      values[strKey] = strValue;
    }
  }
  return values;
}

std::set<Json::Int64> ownersAmong(const StateDocument& state) {
  std::set<Json::Int64> setOwners;
  for (const auto& [strTask, jTask] : state.mapTasks) {
    Json::Value jStored = objectOf({{"owner", memberOf(jTask, "owner")}});
    if (taskPreAction(jStored) == 0) {
      setOwners.insert(intOf(jStored, "owner", -1));
    }
  }
  return setOwners;
}

[[noreturn]] void failStore(const std::string& strTask) {
  throw Failure(fmt::format("the store refused the task \"{}\"; {}", strTask, SEE_LOG));
}

void storeTasks(Session& session, const StateDifference& difference, const StateDocument& after) {
  // Deleted first: a new name may be the same as an old one but for its case.
  for (const std::string& strTask : difference.vecDeleted) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strTask;
    if (session.tasks()->recDelete(jIn, true) < 0) {
      failStore(strTask);
    }
  }
  for (const std::string& strTask : difference.vecCreated) {
    Json::Value jTask = after.mapTasks.at(strTask);
    Json::Value jCreated;
    if (!toStored(jTask) || session.tasks()->recCreate(jTask, jCreated) < 0) {
      failStore(strTask);
    }
  }
  for (const std::string& strTask : difference.vecChanged) {
    Json::Value jTask = after.mapTasks.at(strTask);
    // A missing description means an empty one.
    jTask["description"] = textOf(jTask, "description");
    jTask["output_limit"] = Json::Value(memberOf(jTask, "output_limit"));
    if (!toStored(jTask) || recUpdate(session.tasks(), jTask, session.db()) < 0) {
      failStore(strTask);
    }
  }
}

template <typename Map>
bool isSameIn(const Map& left, const Map& right, const std::string& strKey) {
  const auto itLeft = left.find(strKey);
  const auto itRight = right.find(strKey);
  return itLeft == left.end() ? itRight == right.end() : itRight != right.end() && itLeft->second == itRight->second;
}

/// Refuses to overwrite what others have changed since the changes were shown.
void requireUntouched(const StateDocument& before, const StateDocument& now, const StateDifference& difference,
                      bool blPrune) {
  for (const auto& [strTask, jTask] : now.mapTasks) {
    if (blPrune && before.mapTasks.count(strTask) == 0) {
      throw Failure(fmt::format("somebody else added the task \"{}\" meanwhile; apply the document again", strTask));
    }
  }
  for (const std::string& strTask : touchedTasks(difference)) {
    if (!isSameIn(before.mapTasks, now.mapTasks, strTask)) {
      throw Failure(fmt::format("somebody else changed the task \"{}\" meanwhile; apply the document again", strTask));
    }
  }
  for (const std::string& strEvent : difference.vecEvents) {
    if (!isSameIn(before.events, now.events, strEvent)) {
      throw Failure(
          fmt::format("somebody else changed the event \"{}\" meanwhile; apply the document again", strEvent));
    }
  }
  for (const std::string& strKey : difference.vecConfig) {
    if (!isSameIn(before.config, now.config, strKey)) {
      throw Failure(fmt::format("somebody else changed {} meanwhile; apply the document again", strKey));
    }
  }
}

/// Checks the changes again, beside what others have changed meanwhile.
void requireSound(const StateDocument& before, const StateDocument& now, const StateDocument& after,
                  const StateDifference& difference) {
  StateDocument then = now;
  for (const std::string& strTask : touchedTasks(difference)) {
    then.mapTasks.erase(strTask);
    if (const auto it = after.mapTasks.find(strTask); it != after.mapTasks.end()) {
      then.mapTasks.insert(*it);
    }
  }
  for (const auto& [strKey, strValue] : changedConfig(before, after)) {
    then.config[strKey] = strValue;
  }
  for (const std::string& strEvent : difference.vecEvents) {
    then.events.erase(strEvent);
    if (const auto it = after.events.find(strEvent); it != after.events.end()) {
      then.events.insert(*it);
    }
  }
  const std::vector<std::string> vecErrors = checkState(now, then, AllowedEvents::ANY).vecErrors;
  if (!vecErrors.empty()) {
    throw Failure(
        fmt::format("somebody else changed other tasks meanwhile, and now the document cannot be applied:\n  {}",
                    fmt::join(vecErrors, "\n  ")));
  }
}

void logEvents(const StateDifference& difference) {
  for (const std::string& strTask : difference.vecDeleted) {
    logEvent(LogEvent::TASK_DELETED, strTask);
  }
  for (const std::string& strTask : difference.vecCreated) {
    logEvent(LogEvent::TASK_CREATED, strTask);
  }
  for (const std::string& strTask : difference.vecChanged) {
    logEvent(LogEvent::TASK_CHANGED, strTask, "by a document");
  }
}

}  // namespace

StateDocument stateAfter(const StateDocument& before, const StateDocument& document, bool blPrune) {
  StateDocument after = before;
  if (blPrune) {
    after.mapTasks.clear();
  }
  for (const auto& [strTask, jTask] : document.mapTasks) {
    after.mapTasks[strTask] = jTask;
  }
  for (const auto& [strKey, strValue] : document.config) {
    after.config[strKey] = strValue;
  }
  after.events = eventsAfter(before.events, document.events, blPrune && document.blEvents, after.mapTasks);
  return after;
}

StateDifference differenceOf(const StateDocument& before, const StateDocument& after) {
  StateDifference difference;
  for (const auto& [strTask, jTask] : after.mapTasks) {
    const auto itBefore = before.mapTasks.find(strTask);
    if (itBefore == before.mapTasks.end()) {
      difference.vecCreated.push_back(strTask);
    } else if (itBefore->second != jTask) {
      difference.vecChanged.push_back(strTask);
    }
  }
  for (const auto& [strTask, jTask] : before.mapTasks) {
    if (after.mapTasks.count(strTask) == 0) {
      difference.vecDeleted.push_back(strTask);
    }
  }
  for (const auto& [strKey, strValue] : changedConfig(before, after)) {
    difference.vecConfig.push_back(strKey);
  }
  difference.vecEvents = changedEvents(before.events, after.events);
  return difference;
}

StateFindings checkState(const StateDocument& before, const StateDocument& after, AllowedEvents events) {
  StateFindings findings{whyNotConfig(changedConfig(before, after), ownersAmong(after)), {}, {}};
  EventFindings ofEvents = checkEvents(before.events, after.events);
  std::move(ofEvents.vecErrors.begin(), ofEvents.vecErrors.end(), std::back_inserter(findings.vecErrors));
  findings.vecWarnings = std::move(ofEvents.vecWarnings);
  checkTasks(before, after, events, findings);
  return findings;
}

std::vector<std::string> changeState(Session& session, const StateDocument& before, const StateDocument& after,
                                     bool blPrune) {
  const StateDifference difference = differenceOf(before, after);
  // While this is held, none of the tasks runs or is started.
  std::vector<std::string> vecTouched = difference.vecChanged;
  vecTouched.insert(vecTouched.end(), difference.vecDeleted.begin(), difference.vecDeleted.end());
  const TaskChange change(session, vecTouched, "changed");
  const ConfigLock configLock;
  WriteLock lock(session);
  if (const StateDocument now = currentState(session); !(now == before)) {
    requireUntouched(before, now, difference, blPrune);
    requireSound(before, now, after, difference);
  }
  // Files and store change in two steps, so signals wait.
  const DeferredSignals deferred;
  storeTasks(session, difference, after);
  const ConfigValues changed = changedConfig(before, after);
  FileTexts texts = configFilesWith(changed);
  texts.merge(eventFilesWith(difference.vecEvents, after.events));
  ConfigChange files(configLock, texts);
  announceChange(files, session.db());
  lock.commit();
  logEvents(difference);
  logConfig(changed);
  finishChange(files);
  std::vector<std::string> vecNotes;
  for (const std::string& strTask : difference.vecDeleted) {
    // The task is deleted already; a folder that cannot be moved does not bring it back.
    if (const std::string strOutput = putOutputAside(strTask); !strOutput.empty()) {
      vecNotes.push_back(fmt::format("the output of \"{}\" {}", strTask, strOutput));
    }
  }
  return vecNotes;
}

}  // namespace Host
