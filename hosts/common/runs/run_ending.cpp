#include "run_ending.h"

#include <algorithm>
#include <csignal>
#include <fmt/format.h>
#include <fstream>
#include <string_view>
#include <utility>

#include "common/store/session.h"
#include "common/support/failure.h"

namespace Host {

namespace {

/// Rounds in which processes are stopped. Each round stops those that were started meanwhile.
constexpr int FREEZE_ROUNDS = 200;

/// Another process that ends the run is not waited for.
constexpr std::chrono::milliseconds OTHERS_LIMIT(500);

/// Locked while the run is being ended. No task has such a name.
std::string turnOf(const Process& process) {
  return fmt::format("/process/{}", process.pid());
}

/// A process that waits for a disk or is traced counts as stopped: it cannot start others.
bool isRunning(const ProcessStatus& status) {
  return !status.isEnded() && std::string_view("TtD").find(status.cState) == std::string_view::npos;
}

/// The shell that runs the script: the oldest child, unless the shell has been replaced by the script.
pid_t shellOf(pid_t pidRun) {
  const ProcessStatus* pEldest = nullptr;
  const std::map<pid_t, ProcessStatus> mapChildren = ProcessTable().childrenOf(pidRun);
  for (const auto& [pid, status] : mapChildren) {
    if (pEldest == nullptr || status.ticksStart < pEldest->ticksStart) {
      pEldest = &status;
    }
  }
  if (pEldest == nullptr) {
    return 0;
  }
  std::ifstream arguments(fmt::format("/proc/{}/cmdline", pEldest->pid));
  std::string strProgram;
  std::string strOption;
  std::getline(arguments, strProgram, '\0');
  std::getline(arguments, strOption, '\0');
  return strProgram == "sh" && strOption == "-c" ? pEldest->pid : 0;
}

}  // namespace

bool markEnded(Session& session, Json::Int64 iResult, const char* szWhy) {
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = iResult;
  WriteLock lock(session);
  Json::Value jRun;
  if (session.runs()->recGetOne(jFilter, jRun) < 0) {
    throw Failure(fmt::format("cannot read run {}", iResult));
  }
  if (!jRun.isObject() || jRun.isMember("stop_time")) {
    return false;
  }
  Json::Value jUpdate(Json::objectValue);
  jUpdate["ended_by"] = szWhy;
  if (session.runs()->recUpdateByFilter(jFilter, jUpdate) < 0) {
    throw Failure(fmt::format("cannot change run {} in the store", iResult));
  }
  lock.commit();
  return true;
}

RunEnding::RunEnding(Process process, std::chrono::seconds grace)
    : m_process(std::move(process)), m_grace(grace), m_deadline(Clock::now() + grace) {
  if (!m_lock.takeTurn({turnOf(m_process)}, OTHERS_LIMIT)) {
    throw Failure(fmt::format("the run of process {} is being ended by another command", m_process.pid()));
  }
  m_process.signal(SIGSTOP);
  look();
}

void RunEnding::ask() {
  m_deadline = Clock::now() + m_grace;
  look();
  askKnown();
}

/// A shell that has not started anything yet is not asked.
void RunEnding::askKnown() {
  const pid_t pidShell = shellOf(m_process.pid());
  for (const auto& [pid, known] : m_mapKnown) {
    // The shell waits for the script and passes on its exit status.
    if (pid != pidShell) {
      known.signal(SIGTERM);
      m_blAsked = true;
    }
    // A stopped process would not handle the signal.
    known.signal(SIGCONT);
  }
}

RunEnding::~RunEnding() {
  m_process.signal(SIGCONT);
}

/// Finds all processes below the run, and below those that were found earlier.
void RunEnding::look() {
  const ProcessTable table;
  std::vector<ProcessStatus> vecFound = table.below(m_process.pid());
  for (const auto& [pid, known] : m_mapKnown) {
    const std::vector<ProcessStatus> vecBelow = known.isAlive() ? table.below(pid) : std::vector<ProcessStatus>();
    vecFound.insert(vecFound.end(), vecBelow.begin(), vecBelow.end());
  }
  std::erase_if(m_mapKnown, [](const auto& entry) { return !entry.second.isAlive(); });
  for (const ProcessStatus& status : vecFound) {
    m_mapKnown.try_emplace(status.pid, status);
  }
}

bool RunEnding::isEmpty() const {
  return std::none_of(m_mapKnown.begin(), m_mapKnown.end(), [](const auto& entry) { return entry.second.isAlive(); });
}

void RunEnding::freeze() {
  bool blAllStopped = false;
  for (int i = 0; i < FREEZE_ROUNDS && !blAllStopped; ++i) {
    look();
    blAllStopped = true;
    for (const auto& [pid, known] : m_mapKnown) {
      const std::optional<ProcessStatus> status = known.status();
      if (status && isRunning(*status)) {
        known.signal(SIGSTOP);
        blAllStopped = false;
      }
    }
  }
}

void RunEnding::killAll() {
  freeze();
  for (const auto& [pid, known] : m_mapKnown) {
    known.signal(SIGKILL);
  }
}

void RunEnding::hold() {
  look();
  if (isEmpty()) {
    m_blHeld = false;
    m_deadline = Clock::now() + std::max(m_grace, std::chrono::seconds(1));
    m_process.signal(SIGCONT);
  } else if (Clock::now() >= m_deadline) {
    killAll();
  } else if (!m_blAsked) {
    askKnown();
  }
}

/// The process of the run only has to copy the output of its script now. That can hang, too.
void RunEnding::letGo() {
  if (Clock::now() < m_deadline) {
    return;
  }
  look();
  if (isEmpty()) {
    m_process.signal(SIGKILL);
  } else {
    killAll();
  }
}

bool RunEnding::step() {
  if (!m_process.isAlive()) {
    // Another process killed it. The processes below it can no longer be found through it.
    if (m_blHeld && !isEmpty()) {
      killAll();
    }
    return true;
  }
  m_blHeld ? hold() : letGo();
  return false;
}

void releaseAbandoned(const Process& process) {
  TaskLock lock;
  if (lock.takeTurn({turnOf(process)}, std::chrono::milliseconds(0))) {
    process.signal(SIGCONT);
  }
}

}  // namespace Host
