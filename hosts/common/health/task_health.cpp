#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <set>

#include "common/reasons/reason.h"
#include "common/tasks/task_graph.h"
#include "common/tasks/task_rules.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "installation_health.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// A valid free name that is similar to the old one.
std::string soundName(const TaskGraph& graph, const std::string& strTask) {
  constexpr std::size_t MAX_BASE = 48;
  std::string strBase;
  for (const char c : strTask) {
    const bool blPlain = std::isalnum(static_cast<unsigned char>(c)) != 0 || (c == '.' && !strBase.empty());
    if (blPlain || !strBase.empty()) {
      strBase += blPlain ? c : '-';
    }
  }
  strBase.resize(std::min(strBase.find_last_not_of('-') + 1, MAX_BASE));
  strBase = strBase.empty() ? "task" : strBase;
  for (unsigned i = 1;; ++i) {
    std::string strName = i == 1 ? strBase : fmt::format("{}-{}", strBase, i);
    if (graph.find(strName) == nullptr && graph.whyConfused(strName, strTask).empty() &&
        whyNotNewTaskName(strName).empty()) {
      return strName;
    }
  }
}

/// The dependencies of a task without those that it cannot wait for.
std::vector<std::string> usableDependencies(const TaskGraph& graph, const GraphTask& task) {
  std::vector<std::string> vecWaitsFor;
  std::set<std::string> setSeen = {task.strName};
  for (const std::string& strAwaited : task.vecWaitsFor) {
    const GraphTask* const pAwaited = graph.find(strAwaited);
    if (pAwaited != nullptr && pAwaited->strEvent == task.strEvent && setSeen.insert(strAwaited).second) {
      vecWaitsFor.push_back(strAwaited);
    }
  }
  return vecWaitsFor;
}

/// The member, the problem, and a valid name or list of dependencies.
Json::Value detailsOf(const TaskGraph& graph, const std::string& strTask, const Finding& finding) {
  Json::Value jDetails = objectOf({{"member", finding.strMember}, {"problem", finding.strReason}});
  const GraphTask* const pTask = graph.find(strTask);
  if (finding.strMember == "task_name") {
    jDetails["name"] = soundName(graph, strTask);
  } else if (finding.strMember == "depend_on_task" && pTask != nullptr) {
    jDetails["needs"] = arrayOf(usableDependencies(graph, *pTask));
  }
  return jDetails;
}

void addFindings(const TaskGraph& graph, const std::string& strTask, const std::vector<Finding>& vecFindings,
                 Severity severity, HealthFindings& findings) {
  for (const Finding& finding : vecFindings) {
    findings.push_back({severity, "task_member", strTask, detailsOf(graph, strTask, finding)});
  }
}

/// Finds why an enabled task is never started. A warning, not a problem, when it waits for a disabled task or for one
/// that is reported itself.
void checkStart(Reasons& reasons, const GraphTask& task, HealthFindings& findings) {
  if (!task.blEnabled) {
    return;
  }
  for (const Reason& reason : reasons.of(task)) {
    const bool blFollows = reason.strCode == "need_disabled" || reason.strCode == "need_blocked";
    findings.push_back(
        {blFollows ? Severity::WARNING : Severity::PROBLEM, "never_started", task.strName, recordOf(reason)});
  }
}

/// Names the dependency that breaks a circle where it is entered, or else the event of a graph that is too heavy.
Json::Value detailsOf(const TaskGraph& graph, const TaskGraph::Endless& endless) {
  Json::Value jDetails = objectOf({{"problem", endless.strText}});
  const GraphTask* const pTask = graph.find(endless.strTask);
  if (pTask != nullptr && endless.strAwaited.empty()) {
    jDetails["event"] = pTask->strEvent;
  } else if (pTask != nullptr) {
    jDetails["needs"] = arrayOf(awaitedWithout(*pTask, endless.strAwaited));
  }
  return jDetails;
}

}  // namespace

void checkTasks(const Json::Value& jTasks, HealthFindings& findings) {
  const TaskGraph graph(jTasks);
  Reasons reasons(graph);
  ServerFacts facts;
  std::vector<std::string> vecNames;
  for (const Json::Value& jTask : jTasks) {
    const std::string strTask = textOf(jTask, "task_name");
    vecNames.push_back(strTask);
    const std::size_t cBefore = findings.size();
    checkStart(reasons, *graph.find(strTask), findings);
    Findings rules = checkStoredTask(jTask, graph, facts);
    if (findings.size() > cBefore) {
      // The list of dependencies and the owner are reported already.
      std::erase_if(rules.vecErrors, [](const Finding& finding) {
        return finding.strMember == "depend_on_task" || finding.strMember == "owner";
      });
    }
    addFindings(graph, strTask, rules.vecErrors, Severity::PROBLEM, findings);
    addFindings(graph, strTask, rules.vecWarnings, Severity::WARNING, findings);
  }
  for (const TaskGraph::Endless& endless : graph.endlessWalks(vecNames)) {
    findings.push_back({Severity::PROBLEM, "endless_walk", endless.strTask, detailsOf(graph, endless)});
  }
}

}  // namespace Host
