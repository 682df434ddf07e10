#include "execution_process.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <optional>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/coordination/start_second.h"
#include "common/output/output_folder.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "next_tasks.h"
#include "run_child.h"

namespace Host {

namespace {

/// The last event of a child that could not write or prepare its script.
constexpr unsigned EVENT_SCRIPT_FAILED = 0x14400201;

int runRequest(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
               TaskLock& lock) {
  // The library reads its configuration now, and the configured place may have changed.
  const std::optional<std::string> output = OutputFolder::configuredOutput();
  for (const std::string& strWarning : prepareFolders(output, plan.vecTasks)) {
    if (std::find(plan.vecWarnings.begin(), plan.vecWarnings.end(), strWarning) == plan.vecWarnings.end()) {
      std::fputs(fmt::format("eorva: warning: {}\n", strWarning).c_str(), stderr);
    }
  }
  // From here on, a missing task folder fails the run.
  ORVAFSRefuseOpenParents(1);
  if (request.blByEvent) {
    const NextTasks nextTasks(session, request, plan, file, lock, output);
    Json::Value jIn(Json::objectValue);
    jIn["event"] = request.strName;
    return runByEvent(session.tasks(), session.runs(), jIn, session.db());
  }
  Json::Value jTask = requireTask(session, request.strName);
  return runTaskOne(jTask, session.tasks(), session.runs(), session.db());
}

}  // namespace

void executeAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                    TaskLock& lock) {
  const pid_t pidSelf = getpid();
  int iResult = -1;
  try {
    reportChildrenTo(file.fd(), lock.fd());
    // A child that cannot write its script would continue as a second runner, so it ends after its last event.
    ORVALogEndChildAfter(EVENT_SCRIPT_FAILED);
    Session session;
    const std::vector<std::string> vecFirst = firstTasks(TaskGraph(listTasks(session)), request);
    claimStartSecond(session, {vecFirst.begin(), vecFirst.end()});
    iResult = runRequest(session, request, plan, file, lock);
    if (getpid() != pidSelf) {
      _exit(0);
    }
  } catch (const std::exception& error) {
    if (getpid() != pidSelf) {
      _exit(0);
    }
    std::fputs(fmt::format("eorva: {}\n", error.what()).c_str(), stderr);
  }
  std::fflush(nullptr);
  _exit(iResult < 0 ? 1 : 0);
}

}  // namespace Host
