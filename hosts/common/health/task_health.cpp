#include <algorithm>
#include <array>
#include <cctype>
#include <fmt/format.h>
#include <set>
#include <utility>

#include "common/reasons/reason.h"
#include "common/tasks/task_graph.h"
#include "common/tasks/task_rules.h"
#include "common/text/command_text.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "installation_health.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// A name that may be used, and looks like the old one.
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
        whyNotTaskName(strName).empty()) {
      return strName;
    }
  }
}

/// What is left of a list of tasks to wait for when what cannot be waited for is taken out.
std::vector<std::string> soundNeeds(const TaskGraph& graph, const GraphTask& task) {
  std::vector<std::string> vecNeeds;
  std::set<std::string> setSeen = {task.strName};
  for (const std::string& strNeed : task.vecNeeds) {
    const GraphTask* const pNeed = graph.find(strNeed);
    if (pNeed != nullptr && pNeed->strEvent == task.strEvent && setSeen.insert(strNeed).second) {
      vecNeeds.push_back(strNeed);
    }
  }
  return vecNeeds;
}

/// The command that mends a member.
std::string adviceFor(const TaskGraph& graph, const std::string& strTask, const std::string& strMember) {
  static constexpr std::array<std::pair<const char*, const char*>, 7> OPTIONS = {
      {{"event", " --event EVENT"},
       {"owner", " --owner USER"},
       {"notify_mail", " --mail ADDRESS"},
       {"time_limit", " --time-limit 0"},
       {"description", " --description ''"},
       {"operation_type", " --record - <<< '{\"operation_type\": \"script\"}'"},
       {"operation", ""}}};
  const GraphTask* const pTask = graph.find(strTask);
  if (strMember == "task_name") {
    return eorvaCommand("task rename", {strTask, soundName(graph, strTask)});
  }
  if (strMember == "depend_on_task" && pTask != nullptr) {
    return needsCommand(strTask, soundNeeds(graph, *pTask));
  }
  const auto it =
      std::find_if(OPTIONS.begin(), OPTIONS.end(), [&](const auto& option) { return strMember == option.first; });
  return eorvaCommand("task edit", {strTask}, it == OPTIONS.end() ? " --record FILE" : it->second);
}

void addFindings(const TaskGraph& graph, const std::string& strTask, const std::vector<Finding>& vecFindings,
                 Severity severity, HealthFindings& findings) {
  for (const Finding& finding : vecFindings) {
    findings.push_back({severity, "tasks", strTask,
                        fmt::format("task \"{}\": {}: {}", strTask, finding.strMember, finding.strReason),
                        adviceFor(graph, strTask, finding.strMember)});
  }
}

/// Why a task that is switched on is never started. What somebody has decided, and what follows from what is told of
/// another task, is a warning.
void checkStart(Reasons& reasons, const GraphTask& task, HealthFindings& findings) {
  if (!task.blEnabled) {
    return;
  }
  for (const Reason& reason : reasons.of(task)) {
    const bool blFollows = reason.strCode == "need_disabled" || reason.strCode == "need_blocked";
    findings.push_back({blFollows ? Severity::WARNING : Severity::PROBLEM, "tasks", task.strName,
                        fmt::format("task \"{}\" is never started: it {}", task.strName, reason.strText),
                        reason.strAdvice});
  }
}

/// Breaks a circle where it is entered; of a graph that is too heavy, shows which it is.
std::string endlessAdvice(const TaskGraph& graph, const TaskGraph::Endless& endless) {
  const GraphTask* const pTask = graph.find(endless.strTask);
  if (pTask == nullptr) {
    return "eorva task list";
  }
  if (endless.strNeed.empty()) {
    return eorvaCommand("task graph", {pTask->strEvent});
  }
  return dropNeed(*pTask, endless.strNeed);
}

}  // namespace

void checkTasks(const Json::Value& jTasks, HealthFindings& findings) {
  const TaskGraph graph(jTasks);
  Reasons reasons(graph);
  std::vector<std::string> vecNames;
  for (const Json::Value& jTask : jTasks) {
    const std::string strTask = textOf(jTask, "task_name");
    vecNames.push_back(strTask);
    const std::size_t cBefore = findings.size();
    checkStart(reasons, *graph.find(strTask), findings);
    Findings rules = checkStoredTask(jTask, graph);
    if (findings.size() > cBefore) {
      // The list has been told about, with what to type.
      rules.vecErrors.erase(
          std::remove_if(rules.vecErrors.begin(), rules.vecErrors.end(),
                         [](const Finding& finding) { return finding.strMember == "depend_on_task"; }),
          rules.vecErrors.end());
    }
    addFindings(graph, strTask, rules.vecErrors, Severity::PROBLEM, findings);
    addFindings(graph, strTask, rules.vecWarnings, Severity::WARNING, findings);
  }
  for (const TaskGraph::Endless& endless : graph.endlessWalks(vecNames)) {
    findings.push_back({Severity::PROBLEM, "tasks", endless.strTask, endless.strText, endlessAdvice(graph, endless)});
  }
}

}  // namespace Host
