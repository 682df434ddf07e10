#include "execution_watch.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"

#include "clean_process.h"
#include "common/config/settings.h"
#include "common/reasons/firing.h"
#include "common/runs/outcome.h"
#include "common/runs/reconcile.h"
#include "common/server/systemd_units.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/process.h"
#include "execution_process.h"
#include "leftovers.h"
#include "run_watch.h"
#include "temporary_files.h"
#include "zombies.h"

namespace Host {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// Pause between two looks, and while the execution is being ended.
constexpr std::chrono::milliseconds PAUSE = 200ms;
constexpr std::chrono::milliseconds SHORT_PAUSE = 20ms;

/// Pause between two rounds of rare work.
constexpr auto TIDY_PAUSE = 2s;

/// A turn ends when its task has started. A task that could not start leaves no record; other executions do not wait
/// longer than this for its turn.
constexpr auto TURN_TIME = 10s;

volatile std::sig_atomic_t g_iAskedToEnd = 0;

/// Why the execution must end now; null when it may continue.
const char* reasonToEnd(std::chrono::seconds budget, Clock::duration spent) {
  if (g_iAskedToEnd != 0) {
    return isSystemStopping() ? ENDED_SHUTDOWN : ENDED_STOPPED;
  }
  return budget.count() > 0 && spent >= budget ? ENDED_BUDGET : nullptr;
}

class Watch {
public:
  Watch(const ExecutionRequest& request, const ExecutionPlan& plan, ExecutionFile& file, TaskLock& lock)
      : m_request(request), m_plan(plan), m_file(file), m_lock(lock), m_runs(lock, plan.iLastResult, m_grace) {}

  /// Runs the execution.
  /// \return the wait status of its process.
  int run();

  /// The exit status of this process when it has ended the execution; nothing when that has ended by itself.
  std::optional<int> resultOfEnd() const;

private:
  Process forkExecution();
  template <typename Step>
  void attempt(Step step);
  void look(const Process& execution);
  bool collect(pid_t pidExecution);
  void endTurns();
  static bool hold(const Process& execution);
  void endWhenDue(const Process& execution);
  void tidy();
  void remember() const;
  void clearUp(pid_t pidExecution);
  void complain(const std::exception& error);

  const ExecutionRequest& m_request;
  const ExecutionPlan& m_plan;
  ExecutionFile& m_file;
  TaskLock& m_lock;
  std::chrono::seconds m_grace = graceSetting();
  RunWatch m_runs;
  Clock::time_point m_start = Clock::now();
  Clock::time_point m_tidied = Clock::now();
  std::optional<Clock::time_point> m_turns = Clock::now();  ///< when turns were taken, unless they have been ended
  unsigned m_cTurns = 0;
  std::string m_strComplaint;
  const char* m_szEndedBy = nullptr;  ///< why the execution is being ended
  Clock::time_point m_ending;
  bool m_blHeld = false;
  int m_iStatus = 0;
};

Process Watch::forkExecution() {
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    // Continued here: nobody else would do it after this process dies.
    prctl(PR_SET_PDEATHSIG, SIGCONT);
    executeAndExit(m_request, m_plan, m_file, m_lock);
  }
  return Process(pid);
}

/// Reports a problem once; the execution continues.
void Watch::complain(const std::exception& error) {
  if (m_strComplaint != error.what()) {
    m_strComplaint = error.what();
    std::fputs(fmt::format("eorva: {}; the execution continues\n", m_strComplaint).c_str(), stderr);
  }
}

/// Collects zombies: this process is the subreaper of the execution.
/// \return true when the execution has ended.
bool Watch::collect(pid_t pidExecution) {
  int iStatus = 0;
  for (pid_t pid = 0; (pid = waitpid(-1, &iStatus, WNOHANG)) > 0;) {
    if (pid == pidExecution) {
      m_iStatus = iStatus;
      return true;
    }
  }
  return false;
}

void Watch::endTurns() {
  if (const unsigned cTurns = m_file.turns(); cTurns != m_cTurns) {
    m_cTurns = cTurns;
    m_turns = Clock::now();
  }
  if (m_turns && Clock::now() - *m_turns > TURN_TIME) {
    m_turns.reset();
    m_lock.endTurns();
  }
}

/// Stops the process of the execution, so that it starts no more tasks; but not while it is writing to the store, which
/// would block all others.
bool Watch::hold(const Process& execution) {
  execution.signal(SIGSTOP);
  try {
    Session session;
    const WriteLock lock(session, SHORT_PAUSE);
    return true;
  } catch (const Failure&) {
    execution.signal(SIGCONT);
    return false;
  }
}

/// Ends the execution when its budget is used up or it was asked to end: starts no more tasks, ends and closes the
/// runs, then ends the process of the execution before it can start dependent tasks.
void Watch::endWhenDue(const Process& execution) {
  if (m_szEndedBy == nullptr) {
    m_szEndedBy = reasonToEnd(m_request.budget, Clock::now() - m_start);
    m_ending = Clock::now();
  }
  if (m_szEndedBy == nullptr) {
    return;
  }
  if (Clock::now() - m_ending > m_grace + m_request.lastResort) {
    // The store cannot be written, or a script does not end: a shutdown does not wait for that.
    execution.signal(SIGKILL);
    return;
  }
  m_blHeld = m_blHeld || hold(execution);
  if (!m_blHeld) {
    return;
  }
  m_runs.look(m_file, execution.pid());
  m_runs.endAll(m_szEndedBy);
  if (!m_runs.step()) {
    return;
  }
  const bool blDone = m_runs.areAllClosed() && ProcessTable().childrenOf(execution.pid()).empty();
  execution.signal(blDone ? SIGKILL : SIGCONT);
  m_blHeld = false;
}

std::optional<int> Watch::resultOfEnd() const {
  if (m_szEndedBy == nullptr) {
    return std::nullopt;
  }
  return m_szEndedBy == std::string_view(ENDED_BUDGET) ? RESULT_BUDGET : RESULT_ENDED;
}

void Watch::tidy() {
  if (Clock::now() - m_tidied < TIDY_PAUSE) {
    return;
  }
  m_tidied = Clock::now();
  const ProcessTable table;
  for (const pid_t pid : m_runs.processes()) {
    const Process process(pid);
    const std::optional<ProcessStatus> status = process.status();
    if (status && status->cState == 'T' && !m_runs.isEnding(pid)) {
      releaseAbandoned(process);
    }
    tidyOrphans(process, table);
  }
}

template <typename Step>
void Watch::attempt(Step step) {
  try {
    step();
  } catch (const std::exception& error) {
    complain(error);
  }
}

/// Each step by itself, so that time limits hold although the store cannot be read.
void Watch::look(const Process& execution) {
  attempt([&] { m_runs.look(m_file, execution.pid()); });
  attempt([&] { endTurns(); });
  attempt([&] { m_runs.endOverdue(); });
  attempt([&] { m_runs.step(); });
  attempt([&] { endWhenDue(execution); });
  attempt([&] { tidy(); });
}

/// Before the file is removed: until then the execution counts as running.
void Watch::remember() const {
  if (m_plan.iFiring != 0) {
    Session session;
    rememberEnd(session, m_plan.iFiring, m_file, resultOfEnd() == RESULT_BUDGET);
  }
}

void Watch::clearUp(pid_t pidExecution) {
  try {
    removeTemporaryFiles(pidExecution, m_file.children());
    attempt([&] { remember(); });
    // While the file exists, its children count as living.
    m_file.remove();
    Session session;
    reconcile(session);
  } catch (const std::exception& error) {
    complain(error);
  }
}

int Watch::run() {
  const Process execution = forkExecution();
  do {
    pollfd entry{execution.fd(), POLLIN, 0};
    poll(&entry, 1, static_cast<int>((m_szEndedBy != nullptr ? SHORT_PAUSE : PAUSE).count()));
    look(execution);
  } while (!collect(execution.pid()));
  if (m_szEndedBy != nullptr || m_request.blLeaveNothing) {
    // Its descendants are children of this process now (subreaper).
    endLeftovers(m_grace, m_request.lastResort);
  }
  clearUp(execution.pid());
  return m_iStatus;
}

/// Ends with the wait status of the process of the execution.
[[noreturn]] void exitLike(int iStatus) {
  std::fflush(nullptr);
  if (WIFSIGNALED(iStatus)) {
    std::signal(WTERMSIG(iStatus), SIG_DFL);
    kill(getpid(), WTERMSIG(iStatus));
  }
  _exit(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1);
}

}  // namespace

void watchAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                  const TaskLock& lock) {
  try {
    becomeCleanProcess({file.fd(), lock.fd()}, blLogToStdout, request);
    // Caught by all processes of the execution, since the watch ends them; scripts get the default.
    std::signal(SIGTERM, [](int) { g_iAskedToEnd = 1; });
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    ExecutionFile ownFile(file.path(), FIRST_KEPT);
    TaskLock ownLock(FIRST_KEPT + 1);
    Watch watch(request, plan, ownFile, ownLock);
    const int iStatus = watch.run();
    if (const std::optional<int> result = watch.resultOfEnd()) {
      std::fflush(nullptr);
      _exit(*result);
    }
    exitLike(iStatus);
  } catch (const std::exception& error) {
    std::fputs(fmt::format("eorva: {}\n", error.what()).c_str(), stderr);
  }
  _exit(1);
}

}  // namespace Host
