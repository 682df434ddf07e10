#include "task_rules.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <string_view>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/server/users.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "dependency_list.h"
#include "related_tasks.h"
#include "run_settings.h"
#include "script_check.h"
#include "task_graph.h"
#include "task_members.h"

namespace Host {

namespace {

class Checker {
public:
  /// \param jTasks  the other stored tasks.
  Checker(const Json::Value& jTask, TaskName name, const Json::Value& jTasks, AllowedEvents events)
      : m_jTask(jTask),
        m_name(name),
        m_jTasks(jTasks),
        m_events(events),
        m_ownGraph(std::in_place, jTasks),
        m_graph(*m_ownGraph),
        m_facts(m_ownFacts) {
    for (const Json::Value& jOther : jTasks) {
      m_facts.addEvent(textOf(jOther, "event"));
    }
  }

  /// \param graph  all tasks, with this one.
  Checker(const Json::Value& jTask, TaskName name, const TaskGraph& graph, AllowedEvents events, ServerFacts& facts)
      : m_jTask(jTask),
        m_name(name),
        m_jTasks(Json::Value::nullSingleton()),
        m_events(events),
        m_graph(graph),
        m_facts(facts) {}

  /// The rules about the task itself and the tasks that it waits for.
  Findings runAlone() {
    checkMembers();
    checkName();
    checkEvent();
    checkOwner();
    checkWaitsFor();
    checkOperation();
    checkMail();
    checkRunSettings();
    checkDescription();
    return m_findings;
  }

  Findings run() {
    if (!m_jTask.isObject()) {
      error("the record", "must be an object");
      return m_findings;
    }
    runAlone();
    checkDependants();
    checkScriptFolder();
    // A graph needs sound names.
    if (isSound("task_name") && isSound("depend_on_task")) {
      checkGraph();
    }
    return m_findings;
  }

private:
  void error(const char* szMember, std::string strReason) {
    m_findings.vecErrors.push_back({szMember, std::move(strReason)});
  }

  bool isSound(const char* szMember) const {
    return m_jTask.isMember(szMember) &&
           std::none_of(m_findings.vecErrors.begin(), m_findings.vecErrors.end(),
                        [&](const Finding& finding) { return finding.strMember == szMember; });
  }

  /// A wrong type is reported by checkMembers() alone.
  std::optional<std::string> text(const char* szMember) const {
    const Json::Value& jValue = memberOf(m_jTask, szMember);
    return jValue.isString() ? std::optional<std::string>(jValue.asString()) : std::nullopt;
  }

  void checkMembers() {
    for (const auto& [strMember, strReason] : wrongMembers(m_jTask)) {
      error(strMember.c_str(), strReason);
    }
  }

  void checkName() {
    const std::optional<std::string> strName = text("task_name");
    if (!strName) {
      return;
    }
    if (std::string strWhy = whyNotTaskName(*strName); !strWhy.empty()) {
      error("task_name", std::move(strWhy));
      return;
    }
    if (std::string strWhy = whyNotNewTaskName(*strName); !strWhy.empty()) {
      (m_name == TaskName::NEW ? m_findings.vecErrors : m_findings.vecWarnings)
          .push_back({"task_name", std::move(strWhy)});
    }
    if (m_ownGraph && m_graph.find(*strName) != nullptr) {
      error("task_name", "is the name of another task");
      return;
    }
    for (std::string& strWhy : m_graph.whyConfused(*strName)) {
      error("task_name", std::move(strWhy));
    }
  }

  void checkEvent() {
    if (const std::optional<std::string> strEvent = text("event")) {
      if (std::string strWhy = whyNotEventName(*strEvent); !strWhy.empty()) {
        error("event", std::move(strWhy));
      } else if (m_events == AllowedEvents::KNOWN && !m_facts.isKnownEvent(*strEvent)) {
        error("event", fmt::format("unknown event \"{}\"{}", *strEvent, m_facts.similarEvents(*strEvent)));
        m_findings.hint = {Hint::ALLOW_ANY_EVENT, {*strEvent}};
      }
    }
  }

  /// The script runs with the rights of the owner, so nothing is guessed: one uid, written as the library reads it, of
  /// a user who exists and has the given name.
  void checkOwner() {
    const Json::Value& jOwner = memberOf(m_jTask, "owner");
    if (!jOwner.isObject()) {
      return;
    }
    if (jOwner.size() != 1) {
      error("owner", fmt::format("must name one user, not {}", jOwner.size()));
      return;
    }
    const std::string strUid = jOwner.getMemberNames().front();
    int iUid = -1;
    const auto [pEnd, code] = std::from_chars(strUid.data(), strUid.data() + strUid.size(), iUid);
    if (code != std::errc() || iUid < 0 || std::to_string(iUid) != strUid) {
      error("owner", findUserByName(strUid) ? fmt::format("the user \"{}\" has another id now", strUid)
                                            : fmt::format("there is no user \"{}\"", strUid));
      return;
    }
    const std::string& strUser = m_facts.userName(static_cast<uid_t>(iUid));
    if (strUser.empty()) {
      error("owner", fmt::format("there is no user with the id {}", iUid));
    } else if (!jOwner[strUid].isString() || jOwner[strUid].asString() != strUser) {
      error("owner", fmt::format("the user with the id {} is {}", iUid, strUser));
    } else {
      checkOwnerReading(iUid);
    }
  }

  /// Converts the owner as the library will, and compares the result.
  void checkOwnerReading(int iUid) {
    Json::Value jStored(Json::objectValue);
    jStored["owner"] = m_jTask["owner"];
    if (taskPreAction(jStored) < 0 || intOf(jStored, "owner", -1) != iUid) {
      error("owner", fmt::format("{} would be stored as another user", iUid));
    }
  }

  void checkWaitsFor() {
    const std::optional<std::string> strDepend = text("depend_on_task");
    if (!strDepend) {
      return;
    }
    const std::vector<std::string> vecWaitsFor = readDependencyList(*strDepend);
    if (writeDependencyList(vecWaitsFor) != *strDepend) {
      error("depend_on_task", "must be names in brackets and nothing else, as in [backup][cleanup]");
      return;
    }
    std::set<std::string> setSeen;
    for (const std::string& strAwaited : vecWaitsFor) {
      checkAwaited(strAwaited, setSeen.insert(strAwaited).second);
    }
  }

  void checkAwaited(const std::string& strAwaited, bool blFirst) {
    if (!blFirst) {
      error("depend_on_task", fmt::format("lists \"{}\" twice", strAwaited));
      return;
    }
    if (strAwaited == textOf(m_jTask, "task_name")) {
      error("depend_on_task", "a task cannot wait for itself");
      return;
    }
    const GraphTask* pAwaited = m_graph.find(strAwaited);
    if (pAwaited == nullptr) {
      error("depend_on_task", fmt::format("there is no task \"{}\"", strAwaited));
    } else if (const std::optional<std::string> strEvent = text("event"); strEvent && pAwaited->strEvent != *strEvent) {
      error("depend_on_task",
            fmt::format("\"{}\" belongs to the event \"{}\"; a task can only wait for tasks of the same event",
                        strAwaited, pAwaited->strEvent));
    }
  }

  /// Tasks that wait for this one must have its event.
  void checkDependants() {
    const std::string strEvent = textOf(m_jTask, "event");
    for (const GraphTask* pTask : m_graph.dependantsOf(textOf(m_jTask, "task_name"))) {
      if (pTask->strEvent != strEvent) {
        error("event",
              fmt::format("\"{}\" waits for this task and belongs to the event \"{}\"; a task can only wait for tasks "
                          "of the same event",
                          pTask->strName, pTask->strEvent));
      }
    }
  }

  void checkRunSettings() {
    for (auto& [strMember, strReason] : wrongRunSettings(m_jTask)) {
      error(strMember.c_str(), std::move(strReason));
    }
    if (const std::string strDirectory = textOf(m_jTask, "directory");
        strDirectory != "/" && isSound("directory") && isSound("owner")) {
      const auto uid = static_cast<uid_t>(std::stoul(m_jTask["owner"].getMemberNames().front()));
      if (const std::string& strWarning = m_facts.folderWarning(uid, strDirectory); !strWarning.empty()) {
        m_findings.vecWarnings.push_back({"directory", strWarning});
      }
    }
  }

  void checkDescription() {
    if (std::string strWhy = whyNotDescription(textOf(m_jTask, "description")); !strWhy.empty()) {
      error("description", std::move(strWhy));
    }
  }

  void checkOperation() {
    if (const std::optional<std::string> strType = text("operation_type"); strType && *strType != "script") {
      error("operation_type", fmt::format("must be \"script\", not \"{}\"", *strType));
    }
    if (const std::optional<std::string> strScript = text("operation")) {
      for (std::string& strWarning : warnAboutScript(*strScript)) {
        m_findings.vecWarnings.push_back({"operation", std::move(strWarning)});
      }
    }
  }

  void checkScriptFolder() {
    if (const std::string& strWarning = m_facts.scriptFolderWarning(); !strWarning.empty()) {
      m_findings.vecWarnings.push_back({"operation", strWarning});
    }
  }

  void checkMail() {
    const std::optional<std::string> strMail = text("notify_mail");
    if (!strMail) {
      return;
    }
    if (boolOf(m_jTask, "notify_enable") && strMail->empty()) {
      error("notify_mail", "needs an address");
    }
    for (std::size_t iStart = 0; !strMail->empty() && iStart <= strMail->size();) {
      const std::size_t iEnd = std::min(strMail->find(',', iStart), strMail->size());
      checkAddress(strMail->substr(iStart, iEnd - iStart));
      iStart = iEnd + 1;
    }
  }

  void checkAddress(const std::string& strAddress) {
    if (strAddress.find('\0') != std::string::npos || ORVAMailIsAddress(strAddress.c_str()) != 1) {
      error("notify_mail", fmt::format("\"{}\" is not a mail address", strAddress));
    }
  }

  /// Checks the walks through the task and through its dependants: a new name changes their lists.
  void checkGraph() {
    if (!m_ownGraph) {
      checkWalks(m_graph);
      return;
    }
    Json::Value jAll = m_jTasks;
    jAll.append(m_jTask);
    checkWalks(TaskGraph(jAll));
  }

  void checkWalks(const TaskGraph& graph) {
    if (!graph.hasEndlessWalk()) {
      return;
    }
    const std::string strTask = textOf(m_jTask, "task_name");
    std::vector<std::string> vecNames = {strTask};
    for (const GraphTask* pTask : graph.dependantsOf(strTask)) {
      vecNames.push_back(pTask->strName);
    }
    for (std::string& strWhy : graph.whyEndless(graph.withReachedBy(vecNames))) {
      m_findings.vecErrors.push_back({"depend_on_task", std::move(strWhy), true});
    }
  }

  const Json::Value& m_jTask;
  const TaskName m_name;
  const Json::Value& m_jTasks;
  const AllowedEvents m_events;
  const std::optional<TaskGraph> m_ownGraph;  ///< empty when the caller built one for all tasks
  const TaskGraph& m_graph;
  ServerFacts m_ownFacts;
  ServerFacts& m_facts;
  Findings m_findings;
};

/// A null member counts as present: it would be stored.
bool isSame(const Json::Value& jTask, const Json::Value& jBefore, const char* szMember) {
  return jTask.isMember(szMember) == jBefore.isMember(szMember) &&
         memberOf(jTask, szMember) == memberOf(jBefore, szMember);
}

bool has(const std::vector<Finding>& vecFindings, const Finding& finding) {
  return std::any_of(vecFindings.begin(), vecFindings.end(), [&](const Finding& other) {
    return other.strMember == finding.strMember && other.strReason == finding.strReason;
  });
}

/// Only about members that are being set.
void warnAboutIdle(const Json::Value& jTask, const Json::Value& jBefore, Findings& findings) {
  for (auto& [strMember, strReason] : idleRunSettings(jTask)) {
    if (!isSame(jTask, jBefore, strMember.c_str())) {
      findings.vecWarnings.push_back({strMember, std::move(strReason)});
    }
  }
}

std::string errorText(const std::string& strTask, const Findings& findings, const char* szDone) {
  std::string strText = fmt::format("the task \"{}\" is not {}:", strTask, szDone);
  for (const Finding& error : findings.vecErrors) {
    strText += "\n  " + error.text();
  }
  for (const Finding& warning : findings.vecWarnings) {
    strText += "\n  warning: " + warning.text();
  }
  return strText;
}

}  // namespace

std::string Finding::text() const {
  return fmt::format("{}: {}", memberWord(strMember), strReason);
}

std::vector<Finding> requireNoErrors(const std::string& strTask, const Findings& findings, const char* szDone) {
  if (!findings.vecErrors.empty()) {
    throw Failure(errorText(strTask, findings, szDone), findings.hint);
  }
  return findings.vecWarnings;
}

Findings checkNewTask(const Json::Value& jTask, const Json::Value& jTasks, AllowedEvents events) {
  Findings findings = Checker(jTask, TaskName::NEW, jTasks, events).run();
  warnAboutIdle(jTask, Json::objectValue, findings);
  return findings;
}

Findings checkChangedTask(const Json::Value& jTask, const Json::Value& jBefore, const Json::Value& jTasks,
                          AllowedEvents events) {
  const std::string strBefore = textOf(jBefore, "task_name");
  const Json::Value jOthers = tasksBesides(jTasks, strBefore, textOf(jTask, "task_name"));
  const AllowedEvents eventsNow = isSame(jTask, jBefore, "event") ? AllowedEvents::ANY : events;
  const TaskName name = isSame(jTask, jBefore, "task_name") ? TaskName::KEPT : TaskName::NEW;
  Findings all = Checker(jTask, name, jOthers, eventsNow).run();
  const Findings before = Checker(jBefore, TaskName::KEPT, tasksBesides(jTasks, strBefore, strBefore), eventsNow).run();
  Findings findings;
  findings.vecWarnings = std::move(all.vecWarnings);
  findings.hint = all.hint;
  for (Finding& finding : all.vecErrors) {
    const bool blTouched = !finding.blOfWalk && !isSame(jTask, jBefore, finding.strMember.c_str());
    const bool blOld = !blTouched && has(before.vecErrors, finding);
    (blOld ? findings.vecWarnings : findings.vecErrors).push_back(std::move(finding));
  }
  warnAboutIdle(jTask, jBefore, findings);
  return findings;
}

Findings checkTaskAmong(const Json::Value& jTask, TaskName name, const TaskGraph& graph, AllowedEvents events,
                        ServerFacts& facts) {
  return Checker(jTask, name, graph, events, facts).run();
}

Findings checkStoredTask(const Json::Value& jStored, const TaskGraph& graph, ServerFacts& facts) {
  const Json::Value jTask = requestOf(jStored);
  return Checker(jTask, TaskName::KEPT, graph, AllowedEvents::ANY, facts).runAlone();
}

}  // namespace Host
