#include "settlement.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <glob.h>
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
  addExtra(run, jEnd);
  return jEnd;
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

}  // namespace

void addExtra(const RunNotes& run, Json::Value& jEnd) {
  if (run.cbWritten > 0) {
    jEnd["extra"][OUTPUT_CUT] = static_cast<Json::Int64>(run.cbWritten);
  }
  if (run.iDirectoryError != 0) {
    jEnd["extra"][DIRECTORY_ERROR] = std::strerror(run.iDirectoryError);
  }
}

bool closeRun(Session& session, Json::Value& jRun, const RunNotes& notes) {
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
  if (!notes.blClosed) {
    logFailure(jRun);
  }
  return true;
}

bool killRest(const ExecutionNotes& notes) {
  constexpr std::chrono::milliseconds LIMIT(2000);
  constexpr std::chrono::milliseconds PAUSE(5);
  bool blEnded = true;
  for (const auto& [pid, run] : notes.mapRuns) {
    // The number of a closed run may be that of another process by now.
    if (run.blClosed) {
      continue;
    }
    const RunGroup group(notes.groupOf(pid), pid, run.ticksStart);
    if (run.blBegun && run.status) {
      // It would leave its exit code when it ends.
      group.killProcess();
      blEnded = tryUntil(LIMIT, PAUSE, [&] { return !group.hasProcess(); }) && blEnded;
    } else if (run.blBegun) {
      group.kill();
      blEnded = tryUntil(LIMIT, PAUSE, [&] { return group.isEmpty(); }) && blEnded;
    }
    removeExitCode(pid);
  }
  return blEnded;
}

std::vector<Json::Value> closeRuns(Session& session, const ExecutionNotes& notes, const std::string& strPath) {
  std::vector<Json::Value> vecClosed;
  for (Json::Value& jRun : listRuns(session, fmt::format("stop_time is null and result_id > {}", notes.iLastRun))) {
    if (isRunOf(notes, strPath, jRun) && closeRun(session, jRun, notes.mapRuns.at(pidOf(jRun)))) {
      vecClosed.push_back(jRun);
    }
  }
  return vecClosed;
}

std::vector<Json::Value> settleExecutions(Session& session) {
  std::vector<Json::Value> vecClosed;
  for (const EndedExecution& execution : endedExecutions()) {
    settle(session, execution, vecClosed);
  }
  return vecClosed;
}

}  // namespace Host
