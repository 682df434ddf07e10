#include "execution_process.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fmt/format.h>
#include <optional>
#include <sys/prctl.h>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/output/output_place.h"
#include "common/reasons/not_started.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/service_defaults.h"
#include "common/tasks/task_owner.h"
#include "common/text/json_members.h"
#include "end_request.h"
#include "execution_watch.h"
#include "messages.h"
#include "next_tasks.h"
#include "run_recorder.h"

namespace Host {

namespace {

constexpr char NAME[] = "eorva-execute";

/// The last event of a child that could not write or prepare its script.
constexpr unsigned EVENT_SCRIPT_FAILED = 0x14400201;

int runOnce(Session& session, const std::string& strTask, RunRecorder& recorder, Turns& turns) {
  turns.takeToStart(session, {strTask});
  // Another execution may have had the turn before.
  if (refusingRunOf(session, strTask) != 0) {
    _exit(RESULT_REFUSED);
  }
  Json::Value jTask = requireTask(session, strTask);
  requireOwner(jTask);
  recorder.setTasks(arrayOf(std::array{jTask}));
  return runTaskOne(jTask, session.tasks(), session.runs(), session.db());
}

/// Waits until the task is to be run again. \return false when it is not.
bool waitForRetry(Session& session, const std::string& strTask, RunRecorder& recorder, TaskLock& lock) {
  do {
    if (!recorder.waitForRetry()) {
      return false;
    }
  } while (recorder.takeRetries().empty());
  lock.announce({strTask});
  recorder.setTasks(listRelations(session, {strTask}));
  const bool blAgain =
      !findTask(session, strTask).isNull() && recorder.mayRetry(strTask) && refusingRunOf(session, strTask) == 0;
  if (!blAgain) {
    sendMessage(fmt::format("the task \"{}\" is not run again: it was changed, or is running", strTask));
  }
  return blAgain;
}

int runTask(Session& session, const std::string& strTask, RunRecorder& recorder, TaskLock& lock, Turns& turns) {
  int iResult = 0;
  do {
    iResult = runOnce(session, strTask, recorder, turns);
    // Other executions must not wait for this task until its next try.
    turns.end();
  } while (iResult >= 0 && waitForRetry(session, strTask, recorder, lock));
  return iResult;
}

int runEvent(Session& session, const std::string& strEvent, NextTasks& nextTasks) {
  int iResult = 0;
  do {
    Json::Value jIn(Json::objectValue);
    jIn["event"] = strEvent;
    iResult = runByEvent(session.tasks(), session.runs(), jIn, session.db());
  } while (iResult >= 0 && nextTasks.waitForMore());
  return iResult;
}

int runRequest(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan, ExecutionFile& file,
               TaskLock& lock, const EndReports& ends) {
  // The library reads its configuration now, and the configured place may have changed.
  const std::optional<std::string> output = OutputPlace::enabledPath();
  for (const std::string& strWarning : prepareFolders(output, plan.vecTasks)) {
    if (std::find(plan.vecWarnings.begin(), plan.vecWarnings.end(), strWarning) == plan.vecWarnings.end()) {
      sendMessage("warning: " + strWarning);
    }
  }
  // From here on, a missing task folder fails the run.
  ORVAFSRefuseOpenParents(1);
  Turns turns;
  RunRecorder recorder(session, file, lock, turns, ends);
  if (!request.blByEvent) {
    return runTask(session, request.strName, recorder, lock, turns);
  }
  NextTasks nextTasks(session, request, plan, file, lock, turns, recorder, output);
  return runEvent(session, request.strName, nextTasks);
}

/// Nobody would watch the runs if the watch was killed. The next command that reconciles ends and closes them.
void dieWith(pid_t pidWatch) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != pidWatch) {
    _exit(1);
  }
}

}  // namespace

void executeAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, ExecutionFile& file, TaskLock& lock,
                    const EndReports& ends, pid_t pidWatch) {
  const pid_t pidSelf = getpid();
  int iResult = -1;
  try {
    prctl(PR_SET_NAME, NAME);
    dieWith(pidWatch);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    allowManyFiles();
    // A child that cannot write its script would continue as a second runner, so it ends after its last event.
    ORVALogEndChildAfter(EVENT_SCRIPT_FAILED);
    Session session;
    iResult = runRequest(session, request, plan, file, lock, ends);
  } catch (const std::exception& error) {
    if (getpid() == pidSelf) {
      sendMessage(error.what());
    }
  }
  // A child of the library that came back here is no second execution.
  _exit(getpid() != pidSelf || iResult >= 0 ? 0 : 1);
}

}  // namespace Host
