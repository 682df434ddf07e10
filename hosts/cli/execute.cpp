#include "execute.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"

#include "cli/terminal/farewell.h"
#include "cli/terminal/present.h"
#include "cli/terminal/progress.h"
#include "common/executions/execution.h"
#include "common/executions/execution_watch.h"
#include "common/executions/service_process.h"
#include "common/runs/reconcile.h"
#include "common/runs/run_ending.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/shell_word.h"

using Host::intOf;
using Host::textOf;

namespace {

constexpr int POLL_MILLISECONDS = 250;

/// What is known before anything runs.
struct Prepared {
  Host::ExecutionPlan plan;
  OwnerNames owners;
};

void reportInterrupted(const std::vector<Json::Value>& vecRuns) {
  for (const Json::Value& jRun : vecRuns) {
    printNote(fmt::format("run {} of \"{}\", started {}, was interrupted; it is closed now", intOf(jRun, "result_id"),
                          textOf(jRun, "task_name"), timeText(jRun, "start_time")));
  }
}

Prepared prepare(const Host::ExecutionRequest& request, Host::TaskLock& lock) {
  Host::Session session;
  reportInterrupted(Host::reconcile(session));
  Prepared prepared{Host::prepareExecution(session, request, lock), ownerNames(Host::listTasks(session))};
  if (!request.blByEvent) {
    refuseSecondRun(session, request.strName);
  }
  for (const std::string& strWarning : prepared.plan.vecWarnings) {
    printNote("warning: " + strWarning);
  }
  return prepared;
}

/// Reads and shows what has happened. A display that fails says so once, and is not tried again.
class Display {
public:
  Display(Progress& progress, ProgressView* pView) : m_progress(progress), m_pView(pView) {}

  void update(const Host::Execution& execution) {
    if (m_blFailed) {
      return;
    }
    try {
      Host::Session session;
      const std::vector<Json::Value> vecNews = m_progress.poll(session, execution.children());
      if (m_pView != nullptr) {
        m_pView->update(m_progress, vecNews);
        requireShown();
      }
    } catch (const std::exception& error) {
      m_blFailed = true;
      printNote(
          fmt::format("nothing more can be shown: {}; the execution goes on in process {}, 'eorva runs list' shows it",
                      error.what(), execution.pid()));
    }
  }

  void end() {
    if (m_pView != nullptr && !m_blFailed) {
      m_pView->end(m_progress);
    }
  }

  bool hasFailed() const { return m_blFailed; }

private:
  static void requireShown() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
      throw Host::Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
    }
  }

  Progress& m_progress;
  ProgressView* m_pView;
  bool m_blFailed = false;
};

/// Watches an execution until it has ended.
/// \param pService  whoever asks a service to end means the execution.
/// \return its wait status.
int follow(Host::Execution& execution, const Progress& progress, Display& display, Host::ServiceProcess* pService) {
  Farewell goodBye(execution.pid());
  for (;;) {
    if (pService != nullptr && pService->isAskedToEnd()) {
      kill(execution.pid(), SIGTERM);
    }
    // Its end is looked at first: what it has written by then is read after that.
    const std::optional<int> status = execution.waitEnd(POLL_MILLISECONDS);
    display.update(execution);
    goodBye.setRuns(progress.runs());
    if (status) {
      display.end();
      return *status;
    }
  }
}

bool hasEndedWith(int iStatus, int iResult) {
  return WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == iResult;
}

void checkStatus(int iStatus) {
  for (const int iResult : {0, Host::RESULT_BUDGET, Host::RESULT_ENDED}) {
    if (hasEndedWith(iStatus, iResult)) {
      return;
    }
  }
  if (WIFSIGNALED(iStatus)) {
    throw Host::Failure(fmt::format("the execution was killed by signal {} (SIG{})", WTERMSIG(iStatus),
                                    sigabbrev_np(WTERMSIG(iStatus))));
  }
  throw Host::Failure("the execution failed; the reason is in the system log (--log-stdout shows it here)");
}

std::vector<Json::Value> failedRuns(const Progress& progress) {
  std::vector<Json::Value> vecFailed;
  for (const auto& [iResult, jRun] : progress.runs()) {
    if (Host::outcomeOf(jRun).kind != Host::Outcome::Kind::OK) {
      vecFailed.push_back(jRun);
    }
  }
  return vecFailed;
}

void printSummary(const Host::ExecutionRequest& request, const Progress& progress) {
  const std::vector<Json::Value> vecFailed = failedRuns(progress);
  const std::vector<std::string> vecNotStarted = progress.notStarted();
  fmt::print("{} {}: {} run{}, {} ended with 0, {} did not", request.kind(), request.strName, progress.runs().size(),
             progress.runs().size() == 1 ? "" : "s", progress.runs().size() - vecFailed.size(), vecFailed.size());
  fmt::print("{}\n", vecNotStarted.empty() ? "" : fmt::format("; not started: {}", fmt::join(vecNotStarted, ", ")));
  for (const Json::Value& jRun : vecFailed) {
    fmt::print("  {}: {}    eorva runs output {}\n", textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText,
               intOf(jRun, "result_id"));
  }
}

void printSummaryJson(const Host::ExecutionRequest& request, const Progress& progress, const OwnerNames& owners) {
  Json::Value jOut(Json::objectValue);
  jOut[request.kind()] = request.strName;
  jOut["runs"] = Json::Value(Json::arrayValue);
  for (const auto& [iResult, jRun] : progress.runs()) {
    jOut["runs"].append(runForPrograms(jRun, owners));
  }
  jOut["not_started"] = Json::Value(Json::arrayValue);
  for (const std::string& strTask : progress.notStarted()) {
    jOut["not_started"].append(strTask);
  }
  printJson(jOut);
}

/// \return the wait status of the execution.
int runPrepared(const Context& context, const Host::ExecutionRequest& request, const ExecuteView& view,
                const Prepared& prepared, Host::TaskLock& lock, Progress& progress) {
  // Log lines of the execution would be drawn over by a table.
  const bool blLive = Context::isOnTerminal() && !blLogToStdout && !view.blJson;
  const std::unique_ptr<ProgressView> pView =
      blLive ? makeLiveView(prepared.owners, context.isColored()) : makeLineView(prepared.owners);
  view.fnReady();
  Host::Execution execution(request, prepared.plan, lock);
  view.fnStarted(execution.pid());
  Display display(progress, view.blJson ? nullptr : pView.get());
  const int iStatus = follow(execution, progress, display, view.pService);
  if (display.hasFailed()) {
    checkStatus(iStatus);
    throw Host::Failure("the execution has ended; 'eorva runs list' shows how");
  }
  return iStatus;
}

}  // namespace

void refuseSecondRun(Host::Session& session, const std::string& strTask) {
  const Json::Value jTask = Host::requireTask(session, strTask);
  const std::vector<pid_t> vecPids = Host::livePidsOf(session, strTask);
  if (!vecPids.empty() && !Host::boolOf(jTask, "run_the_same_time")) {
    throw Host::Failure(
        fmt::format("the task \"{}\" is running already (process {}), and does not allow several runs "
                    "at once",
                    strTask, fmt::join(vecPids, ", ")));
  }
}

int execute(const Context& context, const Host::ExecutionRequest& request, const ExecuteView& view) {
  // Whoever reads what is shown may go away; the event is fired all the same.
  std::signal(SIGPIPE, [](int) {});
  Host::TaskLock lock;
  const Prepared prepared = prepare(request, lock);
  Progress progress(prepared.plan);
  if (prepared.plan.vecTasks.empty()) {
    printNote(fmt::format("the event \"{}\" has no task that could start; why: eorva event plan {}", request.strName,
                          Host::shellWord(request.strName)));
  } else {
    const int iStatus = runPrepared(context, request, view, prepared, lock, progress);
    checkStatus(iStatus);
    if (hasEndedWith(iStatus, Host::RESULT_ENDED)) {
      printNote(fmt::format("the execution of the {} \"{}\" was ended; what still ran was ended with it",
                            request.kind(), request.strName));
    }
    if (hasEndedWith(iStatus, Host::RESULT_BUDGET)) {
      printNote(fmt::format("the {} s for the {} \"{}\" were used up; what still ran was ended", request.budget.count(),
                            request.kind(), request.strName));
    }
  }
  if (view.blJson) {
    printSummaryJson(request, progress, prepared.owners);
  } else {
    printSummary(request, progress);
  }
  return failedRuns(progress).empty() && progress.notStarted().empty() ? EXIT_DONE : EXIT_TASK_FAILED;
}
