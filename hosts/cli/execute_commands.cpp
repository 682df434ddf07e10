/// eorva fire|run

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "eorvascheduler.h"

#include "common/execution.h"
#include "common/failure.h"
#include "common/json_read.h"
#include "common/reconcile.h"
#include "context.h"
#include "present.h"
#include "progress.h"

using Host::intOf;
using Host::textOf;

namespace {

constexpr int POLL_MILLISECONDS = 250;

struct ExecuteOptions {
  std::string strName;
  bool blJson = false;
};

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

/// A run that would be refused is no run: whoever asked for it by name must learn that.
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

pid_t g_pidExecution = 0;

/// The execution is not ended by what ends its display.
void sayThatItGoesOn(int) {
  constexpr char TEXT[] = "\neorva: the execution goes on without this display, in process ";
  std::array<char, 16> szPid{};
  std::size_t iStart = szPid.size();
  szPid[--iStart] = '\n';
  for (pid_t pid = g_pidExecution; pid > 0; pid /= 10) {
    szPid[--iStart] = static_cast<char>('0' + pid % 10);
  }
  [[maybe_unused]] ssize_t cb = write(STDERR_FILENO, TEXT, sizeof TEXT - 1);
  cb = write(STDERR_FILENO, szPid.data() + iStart, szPid.size() - iStart);
  _exit(128 + SIGINT);
}

/// What could not be launched leaves no record; nobody waits for it longer than that.
constexpr auto TURN_TIME = std::chrono::seconds(10);

/// Withdraws what has been started: its run tells from now on that the task cannot be changed.
class StartWatch {
public:
  StartWatch(Host::TaskLock& lock, const std::vector<std::string>& vecFirst) : m_lock(lock), m_vecFirst(vecFirst) {}

  void update(const std::vector<Json::Value>& vecNews) {
    for (const Json::Value& jRun : vecNews) {
      m_lock.withdraw(textOf(jRun, "task_name"));
    }
    if (std::chrono::steady_clock::now() > m_turnEnd) {
      for (const std::string& strTask : std::exchange(m_vecFirst, {})) {
        m_lock.endTurn(strTask);
      }
    }
  }

private:
  Host::TaskLock& m_lock;
  std::vector<std::string> m_vecFirst;
  std::chrono::steady_clock::time_point m_turnEnd = std::chrono::steady_clock::now() + TURN_TIME;
};

/// Watches an execution until it has ended.
/// \return its wait status.
int follow(Host::Execution& execution, Progress& progress, StartWatch& watch, ProgressView* pView) {
  g_pidExecution = execution.pid();
  std::signal(SIGINT, sayThatItGoesOn);
  Host::Session session;
  for (std::optional<int> status; !status;) {
    // Its end is looked at first: what it has written by then is read after that.
    status = execution.waitEnd(POLL_MILLISECONDS);
    const std::vector<Json::Value> vecNews = progress.poll(session, execution.children());
    watch.update(vecNews);
    if (pView != nullptr) {
      pView->update(progress, vecNews);
    }
    if (status) {
      std::signal(SIGINT, SIG_DFL);
      Host::removeTemporaryFiles(execution.pid(), execution.children());
      return *status;
    }
  }
  return 0;
}

/// Closes what an execution that has ended left open, so that nothing is shown as running any more.
void settle(const Host::Execution& execution, Progress& progress) {
  Host::Session session;
  reportInterrupted(Host::reconcile(session));
  progress.poll(session, execution.children());
}

void checkStatus(int iStatus) {
  if (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0) {
    return;
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
  fmt::print("{} {}: {} run{}, {} ended with 0, {} did not", request.blByEvent ? "event" : "task", request.strName,
             progress.runs().size(), progress.runs().size() == 1 ? "" : "s", progress.runs().size() - vecFailed.size(),
             vecFailed.size());
  fmt::print("{}\n", vecNotStarted.empty() ? "" : fmt::format("; not started: {}", fmt::join(vecNotStarted, ", ")));
  for (const Json::Value& jRun : vecFailed) {
    fmt::print("  {}: {}    eorva runs output {}\n", textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText,
               intOf(jRun, "result_id"));
  }
}

void printSummaryJson(const Host::ExecutionRequest& request, const Progress& progress, const OwnerNames& owners) {
  Json::Value jOut(Json::objectValue);
  jOut[request.blByEvent ? "event" : "task"] = request.strName;
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

int execute(const Context& context, const Host::ExecutionRequest& request, bool blJson) {
  // Whoever reads what is shown may go away; the event is fired all the same.
  std::signal(SIGPIPE, [](int) {});
  Host::TaskLock lock;
  const Prepared prepared = prepare(request, lock);
  Progress progress(prepared.plan);
  if (prepared.plan.vecTasks.empty()) {
    printNote(fmt::format("the event \"{}\" has no task that could start", request.strName));
  } else {
    // Log lines of the execution would be drawn over by a table.
    const bool blLive = isatty(STDOUT_FILENO) == 1 && !blLogToStdout;
    const std::unique_ptr<ProgressView> pView =
        blLive ? makeLiveView(prepared.owners, context.isColored()) : makeLineView(prepared.owners);
    Host::Execution execution(request, lock);
    StartWatch watch(lock, prepared.plan.vecFirst);
    const int iStatus = follow(execution, progress, watch, blJson ? nullptr : pView.get());
    settle(execution, progress);
    checkStatus(iStatus);
  }
  if (blJson) {
    printSummaryJson(request, progress, prepared.owners);
  } else {
    printSummary(request, progress);
  }
  return failedRuns(progress).empty() && progress.notStarted().empty() ? EXIT_DONE : EXIT_TASK_FAILED;
}

int runFire(const Context& context, const ExecuteOptions& options) {
  if (options.strName.empty()) {
    throw Host::UsageFailure("fire: the name of the event is empty");
  }
  return execute(context, {true, options.strName}, options.blJson);
}

int runRun(const Context& context, const ExecuteOptions& options) {
  return execute(context, {false, options.strName}, options.blJson);
}

}  // namespace

void addExecuteCommands(CLI::App& app, Context& context) {
  auto pFire = std::make_shared<ExecuteOptions>();
  CLI::App* pCommand = addCommand(app, "fire", "Run the tasks of an event, and wait until the last one has ended.",
                                  "  eorva fire bootup            ends with 3 when some task did not end with 0\n"
                                  "  eorva fire bootup --json     nothing while it runs, then all of it\n");
  pCommand->add_option("event", pFire->strName, "the event")->required()->type_name("EVENT");
  pCommand->add_flag("--json", pFire->blJson, "as JSON: the runs, when all have ended");
  onCommand(pCommand, context, pFire, &runFire);

  auto pRun = std::make_shared<ExecuteOptions>();
  pCommand =
      addCommand(app, "run", "Run one task now, and wait until it has ended; tasks that wait for it do not start.",
                 "  eorva run disk-usage\n");
  pCommand->add_option("task", pRun->strName, "its name")->required()->type_name("TASK");
  pCommand->add_flag("--json", pRun->blJson, "as JSON: the run, when it has ended");
  onCommand(pCommand, context, pRun, &runRun);
}
