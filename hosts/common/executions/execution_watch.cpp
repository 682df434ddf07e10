#include "execution_watch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
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
#include "common/runs/run_ending.h"
#include "common/runs/settlement.h"
#include "common/server/systemd_units.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/file_alarm.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "end_reports.h"
#include "end_request.h"
#include "execution_group.h"
#include "execution_process.h"
#include "messages.h"
#include "run_watch.h"
#include "service_process.h"
#include "temporary_files.h"

namespace Host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char NAME[] = "eorva-watch";

constexpr timespec TOGETHER{0, 30'000'000};

/// Pause between two looks at the file when the kernel cannot tell of changes: it limits how many can be watched.
constexpr std::chrono::milliseconds NO_ALARM_PAUSE(250);

class Watch {
public:
  Watch(const ExecutionRequest& request, const ExecutionPlan& plan, ExecutionFile& file, TaskLock& lock)
      : m_request(request), m_plan(plan), m_file(file), m_lock(lock), m_alarm(file.path()), m_runs(file, m_grace) {}

  /// Runs the execution.
  /// \return the wait status of its process.
  int run();

  /// The exit status of this process when it has ended the execution; nothing when that has ended by itself.
  std::optional<int> resultOfEnd() const;

private:
  Process forkExecution();
  void wait(const Process& execution) const;
  bool hasEnded(const Process& execution);
  const char* reasonToEnd() const;
  void endWhenDue(const Process& execution);
  void endRest();
  void closeRest();
  void remember();
  void clearUp(pid_t pidExecution);
  template <typename Step>
  void attempt(Step step);

  const ExecutionRequest& m_request;
  const ExecutionPlan& m_plan;
  ExecutionFile& m_file;
  TaskLock& m_lock;
  FileAlarm m_alarm;
  EndReports m_ends;
  std::chrono::seconds m_grace = graceSetting();
  RunWatch m_runs;
  Clock::time_point m_start = Clock::now();
  std::string m_strComplaint;
  const char* m_szEndedBy = nullptr;  ///< why the execution is being ended
  Clock::time_point m_ending;
  int m_iStatus = 0;
};

Process Watch::forkExecution() {
  const pid_t pidWatch = getpid();
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    executeAndExit(m_request, m_plan, m_file, m_lock, m_ends, pidWatch);
  }
  return Process(pid);
}

/// Reports a problem once; the execution continues.
template <typename Step>
void Watch::attempt(Step step) {
  try {
    step();
  } catch (const std::exception& error) {
    if (m_strComplaint != error.what()) {
      m_strComplaint = error.what();
      sendMessage(fmt::format("{}; the execution continues", m_strComplaint));
    }
  }
}

/// Sleeps until there is something to do. Requests to end are only delivered here, so that none is missed.
void Watch::wait(const Process& execution) const {
  std::optional<Clock::time_point> due = m_runs.due();
  const auto earlier = [&](Clock::time_point time) { due = due ? std::min(*due, time) : time; };
  if (m_szEndedBy != nullptr) {
    earlier(m_ending + m_grace + m_request.lastResort);
  } else if (m_request.budget.count() > 0) {
    earlier(m_start + m_request.budget);
  }
  if (!m_alarm.isOpen()) {
    earlier(Clock::now() + NO_ALARM_PAUSE);
  }
  timespec left{};
  if (due) {
    const auto nanoseconds = std::max<std::chrono::nanoseconds>(*due - Clock::now(), std::chrono::nanoseconds(0));
    const auto seconds = std::chrono::floor<std::chrono::seconds>(nanoseconds);
    left = {seconds.count(), (nanoseconds - seconds).count()};
  }
  std::array<pollfd, 3> entries = {
      {{execution.fd(), POLLIN, 0}, {m_alarm.fd(), POLLIN, 0}, {m_ends.reader(), POLLIN, 0}}};
  sigset_t none;
  sigemptyset(&none);
  ppoll(entries.data(), entries.size(), due ? &left : nullptr, &none);
  if (m_szEndedBy == nullptr && !m_runs.isEnding()) {
    // Many runs that begin together are looked at together.
    ppoll(entries.data(), 1, &TOGETHER, &none);
  }
  m_alarm.reset();
}

bool Watch::hasEnded(const Process& execution) {
  return waitpid(execution.pid(), &m_iStatus, WNOHANG) == execution.pid();
}

/// Why the execution must end now; null when it may continue.
const char* Watch::reasonToEnd() const {
  if (isAskedToEnd()) {
    return isSystemStopping() ? ENDED_SHUTDOWN : ENDED_STOPPED;
  }
  const bool blOver = m_request.budget.count() > 0 && Clock::now() - m_start >= m_request.budget;
  return blOver ? ENDED_BUDGET : nullptr;
}

/// Ends the execution when its budget is used up or it was asked to end: its process starts no more tasks, closes the
/// runs that are ended here, and ends.
void Watch::endWhenDue(const Process& execution) {
  if (m_szEndedBy == nullptr) {
    m_szEndedBy = reasonToEnd();
    if (m_szEndedBy == nullptr) {
      return;
    }
    m_ending = Clock::now();
    execution.signal(SIGTERM);
  }
  if (Clock::now() - m_ending >= m_grace + m_request.lastResort) {
    // The store cannot be written, or a script does not end: a shutdown does not wait for that.
    execution.signal(SIGKILL);
  }
  m_runs.endAll(m_szEndedBy);
}

std::optional<int> Watch::resultOfEnd() const {
  if (m_szEndedBy == nullptr) {
    return std::nullopt;
  }
  return m_szEndedBy == std::string_view(ENDED_BUDGET) ? RESULT_BUDGET : RESULT_ENDED;
}

/// Ends all that the scripts have started and that is still there.
void Watch::endRest() {
  std::vector<RunGroup> vecGroups;
  for (const auto& [pid, run] : m_file.notes().mapRuns) {
    if (const std::string strGroup = m_file.notes().groupOf(pid); !run.blClosed || !strGroup.empty()) {
      vecGroups.emplace_back(strGroup, pid, run.ticksStart);
    }
  }
  endRuns(vecGroups, m_grace, m_request.lastResort);
}

/// An execution that ended by itself has closed its runs, unless the store could not be written then.
void Watch::closeRest() {
  Session session;
  for (const Json::Value& jRun : closeRuns(session, m_file.notes(), m_file.path())) {
    sendMessage(fmt::format("run {} of \"{}\" could not be closed in time; it is closed now", intOf(jRun, "result_id"),
                            textOf(jRun, "task_name")));
  }
  m_file.noteStored();
}

/// Before the file is removed: until then the execution counts as running.
void Watch::remember() {
  if (m_plan.iFiring != 0) {
    Session session;
    rememberEnd(session, m_plan.iFiring, m_file.notes(), resultOfEnd() == RESULT_BUDGET);
  }
}

void Watch::clearUp(pid_t pidExecution) {
  attempt([&] { m_ends.collect(m_file); });
  m_file.update();
  killRest(m_file.notes());
  attempt([&] { removeTemporaryFiles(pidExecution, m_file.notes().children()); });
  bool blClosed = false;
  attempt([&] {
    closeRest();
    blClosed = true;
  });
  attempt([&] { remember(); });
  const bool blLeft = leaveExecutionGroup(m_file.notes().strGroup);
  if (!blClosed) {
    // The next command closes the runs: the file tells how they ended.
    return;
  }
  if (blLeft) {
    m_file.remove();
  } else {
    m_file.noteDone();
  }
}

int Watch::run() {
  const Process execution = forkExecution();
  do {
    wait(execution);
    attempt([&] { m_ends.collect(m_file); });
    attempt([&] { m_runs.look(); });
    attempt([&] { endWhenDue(execution); });
  } while (!hasEnded(execution));
  if (m_szEndedBy != nullptr || m_request.blLeaveNothing) {
    attempt([&] { endRest(); });
  }
  clearUp(execution.pid());
  return m_iStatus;
}

/// Background processes of scripts keep the scope alive, but ignore the signal by which systemd ends it. So a process
/// stays that ends them then.
void keepScope(const ExecutionRequest& request, const std::string& strGroup) {
  if (request.blService || !isSystemdRunning() || populatedRuns(strGroup).empty() || fork() != 0) {
    return;
  }
  // The execution is over: its locks must not be held on.
  close_range(FIRST_KEPT, ~0U, 0);
  sendMessagesTo(-1);
  waitForRest(strGroup);
  _exit(0);
}

/// Ends with the wait status of the process of the execution.
[[noreturn]] void exitLike(int iStatus) {
  if (WIFSIGNALED(iStatus)) {
    std::signal(WTERMSIG(iStatus), SIG_DFL);
    kill(getpid(), WTERMSIG(iStatus));
  }
  _exit(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1);
}

void blockEndRequests() {
  sigset_t set;
  sigemptyset(&set);
  for (const int iSignal : END_SIGNALS) {
    sigaddset(&set, iSignal);
  }
  sigprocmask(SIG_BLOCK, &set, nullptr);
}

}  // namespace

void watchAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                  const TaskLock& lock, int fdMessages) {
  try {
    becomeCleanProcess({file.fd(), lock.fd(), fdMessages}, request);
    prctl(PR_SET_NAME, NAME);
    listenToEndRequests();
    blockEndRequests();
    constexpr int FD_MESSAGES = FIRST_KEPT + 2;
    sendMessagesTo(FD_MESSAGES);
    if (blLogToStdout) {
      dup2(FD_MESSAGES, STDOUT_FILENO);
    }
    ExecutionFile ownFile(file.path(), FIRST_KEPT);
    TaskLock ownLock(FIRST_KEPT + 1);
    enterExecutionGroup(request, ownFile);
    Watch watch(request, plan, ownFile, ownLock);
    const int iStatus = watch.run();
    keepScope(request, ownFile.notes().strGroup);
    if (const std::optional<int> result = watch.resultOfEnd()) {
      _exit(*result);
    }
    exitLike(iStatus);
  } catch (const std::exception& error) {
    sendMessage(error.what());
  }
  _exit(1);
}

}  // namespace Host
