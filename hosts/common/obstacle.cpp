#include "obstacle.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "shell_word.h"

namespace Host {

namespace {

bool waitsFor(const TaskGraph& graph, const std::string& strTask, const std::string& strNeed,
              std::set<std::string>& setSeen) {
  const GraphTask* pTask = setSeen.insert(strTask).second ? graph.find(strTask) : nullptr;
  return pTask != nullptr &&
         std::any_of(pTask->vecNeeds.begin(), pTask->vecNeeds.end(), [&](const std::string& strNext) {
           return strNext == strNeed || waitsFor(graph, strNext, strNeed, setSeen);
         });
}

/// The command that takes one task off the list of another one.
std::string dropNeed(const GraphTask& task, const std::string& strNeed) {
  std::string strCommand = fmt::format("eorva task edit {}", shellWord(task.strName));
  bool blAny = false;
  for (const std::string& strOther : task.vecNeeds) {
    if (strOther != strNeed) {
      strCommand += " --after " + shellWord(strOther);
      blAny = true;
    }
  }
  return blAny ? strCommand : strCommand + " --no-after";
}

Obstacle needObstacle(const TaskGraph& graph, const GraphTask& task, const std::string& strNeed) {
  const GraphTask* pNeed = graph.find(strNeed);
  if (pNeed == nullptr) {
    return {"missing", fmt::format("waits for \"{}\", and there is no such task", strNeed), dropNeed(task, strNeed),
            strNeed};
  }
  std::set<std::string> setSeen;
  if (waitsFor(graph, strNeed, task.strName, setSeen)) {
    return {"circle", fmt::format("waits for \"{}\", which waits for it in turn", strNeed), dropNeed(task, strNeed),
            strNeed};
  }
  if (pNeed->strEvent != task.strEvent) {
    return {"other_event", fmt::format("waits for \"{}\", which belongs to the event \"{}\"", strNeed, pNeed->strEvent),
            fmt::format("eorva task edit {} --event {}", shellWord(strNeed), shellWord(task.strEvent)), strNeed};
  }
  if (!pNeed->blEnabled) {
    return {"need_disabled", fmt::format("waits for \"{}\", which is disabled", strNeed),
            fmt::format("eorva task enable {}", shellWord(strNeed)), strNeed};
  }
  return {"need_blocked", fmt::format("waits for \"{}\", which is not started", strNeed),
          fmt::format("eorva explain {}", shellWord(strNeed)), strNeed};
}

}  // namespace

std::vector<Obstacle> obstaclesOf(const TaskGraph& graph, const GraphTask& task) {
  std::vector<Obstacle> vecObstacles;
  std::set<std::string> setPlanned;
  for (const GraphTask* pTask : graph.planOf(task.strEvent)) {
    setPlanned.insert(pTask->strName);
  }
  if (setPlanned.count(task.strName) > 0) {
    return vecObstacles;
  }
  if (!task.blEnabled) {
    vecObstacles.push_back(
        {"disabled", "is disabled", fmt::format("eorva task enable {}", shellWord(task.strName)), ""});
  }
  if (!task.blRoot && task.vecNeeds.empty()) {
    vecObstacles.push_back({"malformed",
                            fmt::format("has a list of tasks to wait for that names none, \"{}\"", task.strDepend),
                            fmt::format("eorva task edit {} --no-after", shellWord(task.strName)), ""});
  }
  for (const std::string& strNeed : task.vecNeeds) {
    if (setPlanned.count(strNeed) == 0) {
      vecObstacles.push_back(needObstacle(graph, task, strNeed));
    }
  }
  return vecObstacles;
}

Json::Value obstacleForPrograms(const Obstacle& obstacle) {
  Json::Value jObstacle(Json::objectValue);
  jObstacle["code"] = obstacle.strCode;
  jObstacle["text"] = obstacle.strText;
  jObstacle["advice"] = obstacle.strAdvice;
  jObstacle["other_task"] = obstacle.strOther.empty() ? Json::Value() : Json::Value(obstacle.strOther);
  return jObstacle;
}

}  // namespace Host
