#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

#include "health.h"
#include "json_read.h"
#include "obstacle.h"
#include "shell_word.h"
#include "task_graph.h"
#include "task_rules.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// The command that mends a member.
std::string adviceFor(const std::string& strTask, const std::string& strMember) {
  static constexpr std::array<std::pair<const char*, const char*>, 8> OPTIONS = {
      {{"event", "--event EVENT"},
       {"owner", "--owner USER"},
       {"depend_on_task", "--after TASK"},
       {"notify_mail", "--mail ADDRESS"},
       {"time_limit", "--time-limit SECONDS"},
       {"description", "--description TEXT"},
       {"operation_type", "--record -  <<< '{\"operation_type\": \"script\"}'"},
       {"operation", ""}}};
  if (strMember == "task_name") {
    return fmt::format("eorva task rename {} NAME", shellWord(strTask));
  }
  const auto it =
      std::find_if(OPTIONS.begin(), OPTIONS.end(), [&](const auto& option) { return strMember == option.first; });
  const std::string strOption = it == OPTIONS.end() ? "--record FILE" : it->second;
  return fmt::format("eorva task edit {}{}{}", shellWord(strTask), strOption.empty() ? "" : " ", strOption);
}

void addFindings(const std::string& strTask, const std::vector<Finding>& vecFindings, Severity severity,
                 HealthFindings& findings) {
  for (const Finding& finding : vecFindings) {
    findings.push_back({severity, "tasks", strTask,
                        fmt::format("task \"{}\": {}: {}", strTask, finding.strMember, finding.strReason),
                        adviceFor(strTask, finding.strMember)});
  }
}

/// Why a task that is switched on is never started. What follows from another task's trouble is not told again.
void checkStart(const TaskGraph& graph, Obstacles& obstacles, const std::string& strTask, HealthFindings& findings) {
  const GraphTask* pTask = graph.find(strTask);
  if (pTask == nullptr || !pTask->blEnabled) {
    return;
  }
  for (const Obstacle& obstacle : obstacles.of(*pTask)) {
    if (obstacle.strCode != "need_blocked") {
      findings.push_back({obstacle.strCode == "need_disabled" ? Severity::WARNING : Severity::PROBLEM, "tasks", strTask,
                          fmt::format("task \"{}\" is never started: it {}", strTask, obstacle.strText),
                          obstacle.strAdvice});
    }
  }
}

}  // namespace

void checkTasks(const Json::Value& jTasks, HealthFindings& findings) {
  const TaskGraph graph(jTasks);
  Obstacles obstacles(graph);
  std::vector<std::string> vecNames;
  for (const Json::Value& jTask : jTasks) {
    const std::string strTask = textOf(jTask, "task_name");
    vecNames.push_back(strTask);
    const std::size_t cBefore = findings.size();
    checkStart(graph, obstacles, strTask, findings);
    Findings rules = checkStoredTask(jTask, graph);
    if (findings.size() > cBefore) {
      // The list has been told about, with what to type.
      rules.vecErrors.erase(
          std::remove_if(rules.vecErrors.begin(), rules.vecErrors.end(),
                         [](const Finding& finding) { return finding.strMember == "depend_on_task"; }),
          rules.vecErrors.end());
    }
    addFindings(strTask, rules.vecErrors, Severity::PROBLEM, findings);
    addFindings(strTask, rules.vecWarnings, Severity::WARNING, findings);
  }
  for (const std::string& strWhy : graph.whyEndless(vecNames)) {
    findings.push_back({Severity::PROBLEM, "tasks", "", strWhy, "eorva task edit TASK --after ..."});
  }
}

}  // namespace Host
