#include "run_watch.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <vector>

#include "common/runs/outcome.h"
#include "common/runs/run_identity.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

using Clock = std::chrono::steady_clock;

/// Wait limit for the store; tried again at the next look.
constexpr std::chrono::milliseconds WRITE_LIMIT(20);

}  // namespace

void RunWatch::note(Session& session, const Json::Value& jRun) {
  const Json::Int64 iResult = intOf(jRun, "result_id");
  const std::string strTask = textOf(jRun, "task_name");
  // From here on, the open run protects the task from changes.
  m_lock.withdraw(strTask);
  if (!jRun.isMember("stop_time") && m_mapOpen.count(iResult) == 0) {
    OpenRun& run = m_mapOpen[iResult];
    run.pid = pidOf(jRun);
    run.blIdentified = hasIdentity(jRun);
    run.limit = std::chrono::seconds(intOf(findTask(session, strTask), "time_limit"));
  }
}

/// While the record is open, a child of the execution with its process id is its process: the execution closes the
/// record before the id can be reused.
/// \return false when the process has ended already.
bool RunWatch::identify(Session& session, Json::Int64 iResult) const {
  const Json::Value jRun = requireRun(session, iResult);
  const std::optional<ProcessStatus> status = processStatus(pidOf(jRun));
  if (jRun.isMember("stop_time") || !status || status->pidParent != m_pidExecution) {
    return false;
  }
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = iResult;
  return session.runs()->recUpdateByFilter(jFilter, identityOf(*status)) >= 0;
}

/// Retried at the next look. Until then the run is identified by its process id and its
/// execution.
void RunWatch::identify(Session& session) {
  const auto isUnknown = [](const auto& entry) { return !entry.second.blIdentified; };
  if (std::none_of(m_mapOpen.begin(), m_mapOpen.end(), isUnknown)) {
    return;
  }
  try {
    WriteLock lock(session, WRITE_LIMIT);
    std::vector<OpenRun*> vecDone;
    for (auto& [iResult, run] : m_mapOpen) {
      if (!run.blIdentified && identify(session, iResult)) {
        vecDone.push_back(&run);
      }
    }
    lock.commit();
    for (OpenRun* pRun : vecDone) {
      pRun->blIdentified = true;
    }
  } catch (const Failure&) {
    // A busy store or a full disk must not stop the watch.
    return;
  }
}

void RunWatch::look(const ExecutionFile& file, pid_t pidExecution) {
  m_pidExecution = pidExecution;
  Session session;
  std::set<Json::Int64> setOpen;
  Json::Int64 iSeen = m_iSeen;
  const Json::Value jRuns = listRuns(session, fmt::format("result_id > {} or stop_time is null", m_iSeen));
  // Read after the records: processes report themselves before their runs are recorded, so no run is missed.
  const std::set<pid_t> setChildren = file.children();
  for (const Json::Value& jRun : jRuns) {
    const Json::Int64 iResult = intOf(jRun, "result_id");
    if (setChildren.count(pidOf(jRun)) > 0) {
      note(session, jRun);
      setOpen.insert(jRun.isMember("stop_time") ? 0 : iResult);
    }
    iSeen = std::max(iSeen, iResult);
  }
  std::erase_if(m_mapOpen, [&](const auto& entry) { return setOpen.count(entry.first) == 0; });
  m_iSeen = iSeen;
  identify(session);
}

void RunWatch::end(Json::Int64 iResult, OpenRun& run, const char* szWhy) {
  if (Clock::now() < run.retry) {
    return;
  }
  // Retry later: the store is busy, or the script has not started yet.
  run.retry = Clock::now() + m_retryPause;
  Process process(run.pid);
  const std::optional<ProcessStatus> status = process.status();
  if (!status || status->isEnded() || status->pidParent != m_pidExecution) {
    run.blAsked = true;
    return;
  }
  auto pEnd = std::make_unique<RunEnding>(std::move(process), m_grace);
  if (!pEnd->hasWork()) {
    return;
  }
  Session session;
  const bool blOpen = markEnded(session, iResult, szWhy);
  run.blAsked = true;
  if (blOpen) {
    pEnd->ask();
    run.pEnd = std::move(pEnd);
  }
}

void RunWatch::endOverdue() {
  for (auto& [iResult, run] : m_mapOpen) {
    if (run.blAsked || run.limit.count() <= 0) {
      continue;
    }
    const std::optional<ProcessStatus> status = processStatus(run.pid);
    if (status && secondsSinceStart(*status) >= static_cast<double>(run.limit.count())) {
      end(iResult, run, ENDED_TIME_LIMIT);
    }
  }
}

void RunWatch::endAll(const char* szWhy) {
  for (auto& [iResult, run] : m_mapOpen) {
    if (!run.blAsked) {
      end(iResult, run, szWhy);
    }
  }
}

bool RunWatch::step() {
  bool blIdle = true;
  for (auto& [iResult, run] : m_mapOpen) {
    if (run.pEnd && run.pEnd->step()) {
      run.pEnd.reset();
    }
    blIdle = blIdle && !run.pEnd;
  }
  return blIdle;
}

std::set<pid_t> RunWatch::processes() const {
  std::set<pid_t> setPids;
  for (const auto& [iResult, run] : m_mapOpen) {
    setPids.insert(run.pid);
  }
  return setPids;
}

bool RunWatch::isEnding(pid_t pid) const {
  return std::any_of(m_mapOpen.begin(), m_mapOpen.end(),
                     [pid](const auto& entry) { return entry.second.pid == pid && entry.second.pEnd; });
}

}  // namespace Host
