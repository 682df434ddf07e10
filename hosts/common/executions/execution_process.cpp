#include "execution_process.h"

#include <algorithm>
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
#include "execution_watch.h"
#include "messages.h"
#include "next_tasks.h"
#include "run_recorder.h"

namespace Host {

namespace {

constexpr char NAME[] = "eorva-execute";

/// The last event of a child that could not write or prepare its script.
constexpr unsigned EVENT_SCRIPT_FAILED = 0x14400201;

int runTask(Session& session, const std::string& strTask, RunRecorder& recorder, Turns& turns) {
  turns.takeToStart(session, {strTask});
  // Another execution may have had the turn before.
  if (refusingRunOf(session, strTask) != 0) {
    _exit(RESULT_REFUSED);
  }
  Json::Value jTask = requireTask(session, strTask);
  requireOwner(jTask);
  Json::Value jTasks(Json::arrayValue);
  jTasks.append(jTask);
  recorder.setTasks(jTasks);
  return runTaskOne(jTask, session.tasks(), session.runs(), session.db());
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
    return runTask(session, request.strName, recorder, turns);
  }
  const NextTasks nextTasks(session, request, plan, file, lock, turns, recorder, output);
  Json::Value jIn(Json::objectValue);
  jIn["event"] = request.strName;
  return runByEvent(session.tasks(), session.runs(), jIn, session.db());
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
