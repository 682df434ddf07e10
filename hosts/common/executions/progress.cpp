#include "progress.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/runs/outcome.h"
#include "common/store/records.h"
#include "common/text/json_members.h"
#include "execution_plan.h"

namespace Host {

Progress::Progress(const ExecutionPlan& plan) : m_plan(plan), m_iLastRun(plan.iLastRun) {}

std::vector<Json::Value> Progress::poll(Session& session, const std::function<std::set<pid_t>()>& fnChildren) {
  std::vector<Json::Value> vecNews;
  // Two lists, because for both conditions at once SQLite would look at all runs.
  Json::Value jRuns =
      listRuns(session, fmt::format("result_id in ({}) and stop_time is not null", fmt::join(m_setOpen, ", ")));
  for (Json::Value& jRun : listRuns(session, fmt::format("result_id > {}", m_iLastRun))) {
    jRuns.append(std::move(jRun));
  }
  const std::set<pid_t> setChildren = fnChildren();
  for (const Json::Value& jRun : jRuns) {
    const Json::Int64 iRun = intOf(jRun, "result_id");
    m_iLastRun = std::max(m_iLastRun, iRun);
    if (setChildren.count(pidOf(jRun)) == 0) {
      continue;
    }
    m_setOpen.insert(iRun);
    if (jRun.isMember("stop_time")) {
      m_setOpen.erase(iRun);
    }
    m_mapRuns[iRun] = jRun;
    Json::Int64& iNewest = m_mapNewest[textOf(jRun, "task_name")];
    iNewest = std::max(iNewest, iRun);
    vecNews.push_back(jRun);
  }
  return vecNews;
}

std::vector<Json::Value> Progress::failedRuns() const {
  std::vector<Json::Value> vecFailed;
  for (const auto& [strTask, iRun] : m_mapNewest) {
    const Json::Value& jRun = m_mapRuns.at(iRun);
    if (outcomeOf(jRun).kind != Outcome::Kind::OK) {
      vecFailed.push_back(jRun);
    }
  }
  return vecFailed;
}

bool Progress::hasRunOf(const std::string& strTask) const {
  return m_mapNewest.count(strTask) > 0;
}

std::vector<std::string> Progress::notStarted() const {
  std::vector<std::string> vecNames;
  for (const GraphTask& task : m_plan.vecTasks) {
    if (!hasRunOf(task.strName)) {
      vecNames.push_back(task.strName);
    }
  }
  return vecNames;
}

std::vector<LeftOut> Progress::leftOut(Session& session) const {
  std::vector<LeftOut> vecLeftOut = Host::leftOut(session, m_plan.iFiring);
  std::erase_if(vecLeftOut, [&](const LeftOut& task) { return hasRunOf(task.strTask); });
  return vecLeftOut;
}

}  // namespace Host
