#include "progress.h"

#include <fmt/format.h>

#include "common/runs/outcome.h"
#include "common/store/records.h"
#include "common/text/json_members.h"
#include "execution_plan.h"

namespace Host {

std::vector<Json::Value> Progress::poll(Session& session, const std::set<pid_t>& setChildren) {
  std::vector<Json::Value> vecNews;
  const std::string strWhere = fmt::format("result_id > {}", m_plan.iLastResult);
  for (const Json::Value& jRun : listRuns(session, strWhere)) {
    if (setChildren.count(pidOf(jRun)) == 0) {
      continue;
    }
    Json::Value& jKnown = m_mapRuns[intOf(jRun, "result_id")];
    if (jKnown != jRun) {
      jKnown = jRun;
      vecNews.push_back(jRun);
    }
  }
  return vecNews;
}

std::vector<Json::Value> Progress::failedRuns() const {
  std::vector<Json::Value> vecFailed;
  for (const auto& [iResult, jRun] : m_mapRuns) {
    if (outcomeOf(jRun).kind != Outcome::Kind::OK) {
      vecFailed.push_back(jRun);
    }
  }
  return vecFailed;
}

std::vector<std::string> Progress::notStarted() const {
  std::set<std::string> setStarted;
  for (const auto& [iResult, jRun] : m_mapRuns) {
    setStarted.insert(textOf(jRun, "task_name"));
  }
  std::vector<std::string> vecNames;
  for (const GraphTask& task : m_plan.vecTasks) {
    if (setStarted.count(task.strName) == 0) {
      vecNames.push_back(task.strName);
    }
  }
  return vecNames;
}

}  // namespace Host
