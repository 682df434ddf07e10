#include "execution.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "clean_process.h"
#include "failure.h"
#include "installed_paths.h"
#include "json_read.h"
#include "output_folder.h"
#include "reconcile.h"
#include "start_second.h"

namespace Host {

namespace {

/// The event that a child writes last when it could not write or prepare its script.
constexpr unsigned EVENT_SCRIPT_FAILED = 0x14400201;

/// Free bytes that the library asks of a volume for temporary output.
constexpr unsigned long long CB_TEMPORARY_OUTPUT = 0x500000;

/// The tasks that start at once.
std::set<std::string> firstTasks(Session& session, const ExecutionRequest& request) {
  if (!request.blByEvent) {
    return {request.strName};
  }
  std::set<std::string> setTasks;
  const TaskGraph graph(listTasks(session));
  for (const GraphTask* pTask : graph.planOf(request.strName)) {
    if (pTask->blRoot) {
      setTasks.insert(pTask->strName);
    }
  }
  return setTasks;
}

int runRequest(Session& session, const ExecutionRequest& request) {
  if (request.blByEvent) {
    Json::Value jIn(Json::objectValue);
    jIn["event"] = request.strName;
    return runByEvent(session.tasks(), session.runs(), jIn, session.db());
  }
  Json::Value jTask = requireTask(session, request.strName);
  return runTaskOne(jTask, session.tasks(), session.runs(), session.db());
}

/// What the process of an execution does, from its first to its last step.
[[noreturn]] void executeAndExit(const ExecutionRequest& request, int fdFile, int fdLock) {
  const pid_t pidSelf = getpid();
  int iResult = -1;
  try {
    becomeCleanProcess({fdFile, fdLock}, blLogToStdout, request.blByEvent ? request.strName : "on_demand");
    reportChildrenTo(FIRST_KEPT, FIRST_KEPT + 1);
    // A child that cannot write its script would go on as a second runner; it ends with its last message instead.
    ORVALogEndChildAfter(EVENT_SCRIPT_FAILED);
    Session session;
    claimStartSecond(session, firstTasks(session, request));
    iResult = runRequest(session, request);
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

pid_t forkExecution(const ExecutionRequest& request, int fdFile, int fdLock) {
  std::fflush(nullptr);
  // Who started this program may have left it ignored; then nobody would learn how the execution ended.
  std::signal(SIGCHLD, SIG_DFL);
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    executeAndExit(request, fdFile, fdLock);
  }
  return pid;
}

/// The C library's own function cannot be linked from C++ in this version.
int openProcess(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

std::vector<GraphTask> planTasks(const TaskGraph& graph, const ExecutionRequest& request) {
  std::vector<GraphTask> vecTasks;
  if (request.blByEvent) {
    for (const GraphTask* pTask : graph.planOf(request.strName)) {
      vecTasks.push_back(*pTask);
    }
  } else if (const GraphTask* pTask = graph.find(request.strName)) {
    vecTasks.push_back(*pTask);
  } else {
    throw Failure(fmt::format("there is no task \"{}\"", request.strName));
  }
  return vecTasks;
}

/// The library itself would go round in circles without end.
void checkGraph(const TaskGraph& graph, const ExecutionRequest& request) {
  std::string strReasons;
  for (const std::string& strWhy : graph.whyUnsafe(graph.planOf(request.strName))) {
    strReasons += "\n  " + strWhy;
  }
  if (!strReasons.empty()) {
    throw Failure(fmt::format("the event \"{}\" is not fired, for its tasks cannot be run safely:{}", request.strName,
                              strReasons));
  }
}

/// Without an output folder all runs of an execution share one script file, so that any owner's script can
/// end up being run with the rights of another one.
void checkSharedScript(const std::vector<GraphTask>& vecTasks, std::vector<std::string>& vecWarnings) {
  std::set<Json::Int64> setOwners;
  for (const GraphTask& task : vecTasks) {
    setOwners.insert(task.iOwner);
  }
  if (setOwners.size() < 2) {
    return;
  }
  if (!memberOf(schedulerConfig(), "enable_output").isBool()) {
    throw Failure(
        "no output folder is set, and without one a script of one owner can be run with the rights of another: "
        "set one with 'eorva config set --output-path SHARE'");
  }
  vecWarnings.emplace_back("output is switched off, so a script of one owner can be run with the rights of another");
}

void prepareFolders(ExecutionPlan& plan) {
  const std::optional<OutputFolder> folder = OutputFolder::configured();
  if (!folder) {
    checkSharedScript(plan.vecTasks, plan.vecWarnings);
    return;
  }
  for (const GraphTask& task : plan.vecTasks) {
    // The library does not launch a task without an owner.
    if (task.iOwner >= 0) {
      folder->prepare(task.strName, static_cast<uid_t>(task.iOwner));
    }
  }
}

/// Which tasks there are to announce can change until they are announced.
/// \return the stored tasks; those of the request cannot be changed any more.
Json::Value announceTasks(Session& session, const ExecutionRequest& request, TaskLock& lock) {
  std::set<std::string> setAnnounced;
  for (;;) {
    Json::Value jTasks = listTasks(session);
    std::vector<std::string> vecNew;
    for (const GraphTask& task : planTasks(TaskGraph(jTasks), request)) {
      if (setAnnounced.insert(task.strName).second) {
        vecNew.push_back(task.strName);
      }
    }
    if (vecNew.empty()) {
      return jTasks;
    }
    lock.announce(vecNew);
  }
}

/// Others that want to start the same tasks wait until these have been started, or were found to run already.
/// \return the tasks that will be started at once.
std::vector<std::string> takeTurns(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan,
                                   TaskLock& lock) {
  std::vector<std::string> vecSingle;
  for (const GraphTask& task : plan.vecTasks) {
    if ((task.blRoot || !request.blByEvent) && !boolOf(findTask(session, task.strName), "run_the_same_time")) {
      vecSingle.push_back(task.strName);
    }
  }
  lock.takeTurn(vecSingle);
  std::vector<std::string> vecFirst;
  for (const std::string& strTask : vecSingle) {
    if (livePidsOf(session, strTask).empty()) {
      vecFirst.push_back(strTask);
    } else {
      lock.endTurn(strTask);
    }
  }
  return vecFirst;
}

}  // namespace

ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock) {
  ExecutionPlan plan;
  const Json::Value jTasks = announceTasks(session, request, lock);
  const TaskGraph graph(jTasks);
  plan.vecTasks = planTasks(graph, request);
  if (request.blByEvent) {
    checkGraph(graph, request);
  }
  prepareFolders(plan);
  plan.vecFirst = takeTurns(session, request, plan, lock);
  for (const Json::Value& jRun : listRuns(session, "1", 1)) {
    plan.iLastResult = intOf(jRun, "result_id");
  }
  return plan;
}

Execution::Execution(ExecutionRequest request, const TaskLock& lock)
    : m_pid(forkExecution(request, m_file.fd(), lock.fd())), m_fdProcess(openProcess(m_pid)) {}

std::optional<int> Execution::waitEnd(int iMilliseconds) {
  pollfd entry{m_fdProcess.get(), POLLIN, 0};
  poll(&entry, 1, iMilliseconds);
  int iStatus = 0;
  const pid_t pidEnded = waitpid(m_pid, &iStatus, WNOHANG);
  if (pidEnded < 0) {
    throw Failure(fmt::format("lost sight of the execution in process {}: {}", m_pid, std::strerror(errno)));
  }
  if (pidEnded == 0) {
    return std::nullopt;
  }
  m_file.remove();
  return iStatus;
}

void removeTemporaryFiles(pid_t pidExecution, const std::set<pid_t>& setChildren) {
  unlink(fmt::format("{}{}", SCRIPT_PREFIX, pidExecution).c_str());
  std::array<char, PATH_MAX> szVolume{};
  std::array<char, PATH_MAX> szFolder{};
  if (VolumeAvailGet(CB_TEMPORARY_OUTPUT, 0, szVolume.data(), static_cast<int>(szVolume.size()), 0) <= 0 ||
      ORVAShareTmpPathGet(szVolume.data(), szFolder.data(), static_cast<int>(szFolder.size())) < 0) {
    return;
  }
  for (const pid_t pid : setChildren) {
    unlink(fmt::format("{}{}{}", szFolder.data(), OUTPUT_SUFFIX, pid).c_str());
  }
}

}  // namespace Host
