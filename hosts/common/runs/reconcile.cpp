#include "reconcile.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/format.h>
#include <glob.h>
#include <map>
#include <optional>
#include <unistd.h>
#include <utility>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/coordination/execution_file.h"
#include "common/server/systemd_units.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/control_group.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/process.h"
#include "common/support/try_until.h"
#include "common/text/json_members.h"
#include "outcome.h"
#include "run_group.h"
#include "run_identity.h"

namespace Host {

namespace {

/// Gives the open runs whose process has ended. Of several runs with the same process id, only the newest can belong to
/// the process.
std::vector<Json::Value> staleRuns(Session& session) {
  std::vector<Json::Value> vecStale;
  std::map<pid_t, Json::Value> mapNewest;
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    const auto [it, blNew] = mapNewest.emplace(pidOf(jRun), jRun);
    if (!blNew) {
      vecStale.push_back(std::exchange(it->second, jRun));
    }
  }
  for (const auto& [pid, jRun] : mapNewest) {
    if (!isRunAlive(jRun)) {
      vecStale.push_back(jRun);
    }
  }
  return vecStale;
}

/// The end of a run, as the library records it: it reads the exit status of the shell as a wait status again.
Json::Value exitInfoOf(int iStatus) {
  Json::Value jExit;
  getExitStatus(iStatus, jExit);
  getExitStatus(memberOf(jExit, "exit_code").asInt(), jExit);
  return jExit;
}

/// The known facts about the end of a run whose execution was killed.
Json::Value endOf(const RunNotes& run) {
  Json::Value jEnd(Json::objectValue);
  if (run.status) {
    jEnd["exit_info"] = exitInfoOf(*run.status);
    jEnd["shell_status"] = *run.status;
  } else {
    jEnd["exit_info"]["exit_type"] = EXIT_INTERRUPTED;
  }
  if (!run.strEndedBy.empty()) {
    jEnd["ended_by"] = run.strEndedBy;
  } else if (run.blClosed && !run.status) {
    jEnd["ended_by"] = ENDED_KILLED;
  }
  noteCut(run, jEnd);
  return jEnd;
}

/// Closes one run, unless it has been closed meanwhile.
bool close(Session& session, Json::Value& jRun, const RunNotes& notes) {
  const Json::Value jFilter = objectOf({{"result_id", jRun["result_id"]}});
  WriteLock lock(session);
  Json::Value jNow;
  if (session.runs()->recGetOne(jFilter, jNow) < 0 || !jNow.isObject() || jNow.isMember("stop_time")) {
    return false;
  }
  Json::Value jUpdate = endOf(notes);
  jUpdate["stop_time"] = static_cast<Json::Int64>(std::time(nullptr));
  if (session.runs()->recUpdateByFilter(jFilter, jUpdate) < 0 ||
      ORVA_JSON_DB::jsonCopyMember(jNow, jUpdate, true) < 0) {
    throw Failure(fmt::format("cannot close run {} in the store", intOf(jRun, "result_id")));
  }
  Json::Value jTask;
  const Json::Value jTaskFilter = objectOf({{"task_name", jRun["task_name"]}});
  // The task shows its newest run only.
  if (session.tasks()->recGetOne(jTaskFilter, jTask) == 0 && jTask.isObject() &&
      intOf(jTask, "last_start_time", -1) == intOf(jNow, "start_time") && intOf(jTask, "last_stop_time") == 0) {
    Json::Value jLast(Json::objectValue);
    jLast["last_stop_time"] = jNow["stop_time"];
    jLast["last_exit_info"] = jNow["exit_info"];
    session.tasks()->recUpdateByFilter(jTaskFilter, jLast);
  }
  lock.commit();
  // The process id may belong to a newer run now, and the file with it.
  if (KLIBCProcAlive(pidOf(jNow)) != 1) {
    unlink(fmt::format("{}{}", EXIT_CODE_PREFIX, pidOf(jNow)).c_str());
  }
  jRun = std::move(jNow);
  return true;
}

/// Tells whether an open run belongs to an execution. Another one, that is alive, may have got the process id later.
bool isRunOf(const ExecutionNotes& notes, const std::string& strPath, const Json::Value& jRun) {
  const pid_t pid = pidOf(jRun);
  const Json::Int64 iRun = intOf(jRun, "result_id");
  const std::vector<LiveExecution> vecLive = liveExecutions();
  return notes.mapRuns.count(pid) > 0 && !isOfOtherBoot(jRun) &&
         std::none_of(vecLive.begin(), vecLive.end(), [&](const LiveExecution& other) {
           return other.strPath != strPath && other.notes.has(pid, iRun);
         });
}

/// Ends and closes the runs of an execution that was killed.
void settle(Session& session, const EndedExecution& execution, std::vector<Json::Value>& vecClosed) {
  const bool blEnded = killRest(execution.notes);
  for (Json::Value& jRun : closeRuns(session, execution.notes, execution.strPath)) {
    vecClosed.push_back(std::move(jRun));
  }
  const bool blRemoved = execution.notes.strGroup.empty() || ControlGroup(execution.notes.strGroup).remove();
  // Background processes of scripts may keep the group for long.
  if (blEnded && (blRemoved || isSystemdRunning())) {
    execution.forget();
  }
}

/// Tells whether the process of the newest run with this process id is still there.
bool isLastAlive(Session& session, const std::string& strTask, pid_t pid) {
  const Json::Value jRuns = listRuns(session, fmt::format("task_name = {} and pid = {}", sqlText(strTask), pid), 1);
  return !jRuns.empty() && isProcessOf(jRuns[0]);
}

/// Tells whether a process on a running list is still a run of the task.
bool isListedAlive(Session& session, const std::string& strTask, pid_t pid) {
  if (!isLastAlive(session, strTask, pid) && childrenOfLiveExecutions().count(pid) == 0) {
    return false;
  }
  const Json::Value jRuns = listRuns(session, fmt::format("pid = {} and stop_time is null", pid), 1);
  return jRuns.empty() || textOf(jRuns[0], "task_name") == strTask;
}

/// The corrected status: without ended processes.
Json::Value liveStatus(Session& session, const Json::Value& jTask) {
  const Json::Value& jStored = memberOf(jTask, "status");
  Json::Value jStatus = jStored.isObject() ? jStored : Json::Value(Json::objectValue);
  jStatus["running"] = Json::Value(Json::arrayValue);
  for (const pid_t pid : listedPidsOf(session, jTask)) {
    jStatus["running"].append(pid);
  }
  return jStatus;
}

/// A task has no list before its first run. A list that the library cannot read would keep the task from ever running
/// again.
bool isTrue(Session& session, const Json::Value& jTask) {
  const Json::Value& jStatus = memberOf(jTask, "status");
  return jStatus.isNull() || (jStatus.isObject() && !jStatus.isMember("running")) ||
         jStatus == liveStatus(session, jTask);
}

void pruneRunning(Session& session, const Json::Value& jTask) {
  if (isTrue(session, jTask)) {
    return;
  }
  const Json::Value jFilter = objectOf({{"task_name", jTask["task_name"]}});
  WriteLock lock(session);
  Json::Value jNow;
  if (session.tasks()->recGetOne(jFilter, jNow) < 0 || !jNow.isObject()) {
    return;
  }
  Json::Value jUpdate(Json::objectValue);
  jUpdate["status"] = liveStatus(session, jNow);
  if (session.tasks()->recUpdateByFilter(jFilter, jUpdate) < 0) {
    throw Failure(fmt::format("cannot change the task \"{}\" in the store", textOf(jNow, "task_name")));
  }
  lock.commit();
}

}  // namespace

void noteCut(const RunNotes& run, Json::Value& jEnd) {
  if (run.cbWritten > 0) {
    jEnd["extra"][OUTPUT_CUT] = static_cast<Json::Int64>(run.cbWritten);
  }
}

bool isRunAlive(const Json::Value& jRun) {
  const pid_t pid = pidOf(jRun);
  if (pid <= 0 || isOfOtherBoot(jRun)) {
    return false;
  }
  const bool blProcess = isProcessOf(jRun);
  // Checked after the process: an execution notes each run before it is recorded.
  return blProcess || executionOf(pid, intOf(jRun, "result_id"));
}

std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask) {
  std::vector<pid_t> vecPids;
  const Json::Value& jRunning = memberOf(memberOf(jTask, "status"), "running");
  for (const Json::Value& jPid : jRunning.isArray() ? jRunning : Json::Value(Json::arrayValue)) {
    if (jPid.isInt() && jPid.asInt() > 0 && isListedAlive(session, textOf(jTask, "task_name"), jPid.asInt())) {
      vecPids.push_back(jPid.asInt());
    }
  }
  return vecPids;
}

std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask) {
  std::vector<pid_t> vecPids = listedPidsOf(session, findTask(session, strTask));
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    const bool blKnown = std::find(vecPids.begin(), vecPids.end(), pidOf(jRun)) != vecPids.end();
    if (textOf(jRun, "task_name") == strTask && !blKnown && isRunAlive(jRun)) {
      vecPids.push_back(pidOf(jRun));
    }
  }
  return vecPids;
}

namespace {

/// Removes the exit-code file of a killed run, and its drafts. The library removes only those of runs that it closes,
/// and this run may not even have a record.
void removeExitCode(pid_t pid) {
  const std::optional<ProcessStatus> status = processStatus(pid);
  if (status && !status->isEnded()) {
    // The number may be that of another run by now.
    return;
  }
  const std::string strPath = fmt::format("{}{}", EXIT_CODE_PREFIX, pid);
  unlink(strPath.c_str());
  glob_t drafts{};
  if (glob((strPath + ".*").c_str(), GLOB_NOSORT, nullptr, &drafts) == 0) {
    std::for_each(drafts.gl_pathv, drafts.gl_pathv + drafts.gl_pathc, [](const char* szPath) { unlink(szPath); });
  }
  globfree(&drafts);
}

}  // namespace

bool killRest(const ExecutionNotes& notes) {
  constexpr std::chrono::milliseconds LIMIT(2000);
  constexpr std::chrono::milliseconds PAUSE(5);
  bool blEnded = true;
  for (const auto& [pid, run] : notes.mapRuns) {
    const RunGroup group(notes.groupOf(pid), pid, run.ticksStart);
    // The number of a closed run may be that of another process by now.
    if (run.blBegun && !run.status && !run.blClosed) {
      group.kill();
      blEnded = tryUntil(LIMIT, PAUSE, [&] { return group.isEmpty(); }) && blEnded;
    }
    if (!run.blClosed) {
      removeExitCode(pid);
    }
  }
  return blEnded;
}

std::vector<Json::Value> closeRuns(Session& session, const ExecutionNotes& notes, const std::string& strPath) {
  std::vector<Json::Value> vecClosed;
  for (Json::Value& jRun : listRuns(session, fmt::format("stop_time is null and result_id > {}", notes.iLastRun))) {
    if (isRunOf(notes, strPath, jRun) && close(session, jRun, notes.mapRuns.at(pidOf(jRun)))) {
      vecClosed.push_back(jRun);
    }
  }
  return vecClosed;
}

std::vector<Json::Value> reconcile(Session& session) {
  std::vector<Json::Value> vecClosed;
  for (const EndedExecution& execution : endedExecutions()) {
    settle(session, execution, vecClosed);
  }
  for (Json::Value& jRun : staleRuns(session)) {
    if (close(session, jRun, {})) {
      vecClosed.push_back(jRun);
    }
  }
  // Most tasks are not running.
  const Json::Value jFilter =
      objectOf({{"orvaSqlWhereFilter", "status is not null and status not like '%\"running\":[]%'"}});
  for (const Json::Value& jTask : listTasks(session, jFilter)) {
    pruneRunning(session, jTask);
  }
  return vecClosed;
}

}  // namespace Host
