#include "run_group.h"

#include <chrono>
#include <csignal>
#include <fmt/format.h>
#include <fstream>
#include <optional>

#include "common/support/control_group.h"
#include "common/support/process.h"
#include "common/support/try_until.h"

namespace Host {

namespace {

/// The shell between the process of a run and the script. It waits for the script and passes on its exit status, unless
/// it has been replaced by the script.
bool isShell(const ProcessStatus& status, pid_t pidRun) {
  if (status.pidParent != pidRun) {
    return false;
  }
  std::ifstream arguments(fmt::format("/proc/{}/cmdline", status.pid));
  std::string strProgram;
  std::string strOption;
  std::getline(arguments, strProgram, '\0');
  std::getline(arguments, strOption, '\0');
  return strProgram == "sh" && strOption == "-c";
}

/// Holds the processes of a group for its lifetime.
class StandStill {
public:
  explicit StandStill(const std::string& strGroup) : m_group(strGroup) {
    // A process that waits for a disk does not stand still, but it starts no other either.
    constexpr std::chrono::milliseconds LIMIT(100);
    constexpr std::chrono::milliseconds PAUSE(1);
    if (!strGroup.empty()) {
      m_group.freeze(true);
      tryUntil(LIMIT, PAUSE, [&] { return m_group.isFrozen(); });
    }
  }
  ~StandStill() {
    if (!m_group.path().empty()) {
      m_group.freeze(false);
    }
  }
  StandStill(const StandStill&) = delete;
  StandStill& operator=(const StandStill&) = delete;

private:
  ControlGroup m_group;
};

}  // namespace

/// Tells whether the id of the run's process, and so that of its session, belongs to another one by now.
bool RunGroup::isOfOther() const {
  const std::optional<ProcessStatus> status = m_ticksStart != 0 ? processStatus(m_pid) : std::nullopt;
  return status && status->ticksStart != m_ticksStart;
}

/// Its owner can have this process moved to a group of his own service manager, but not replace it.
bool RunGroup::hasProcess(const Process& process) const {
  const std::optional<ProcessStatus> status = m_ticksStart != 0 ? process.status() : std::nullopt;
  return status && status->ticksStart == m_ticksStart && !status->isEnded();
}

std::vector<pid_t> RunGroup::members() const {
  if (!m_strGroup.empty()) {
    return ControlGroup(m_strGroup).members();
  }
  return isOfOther() ? std::vector<pid_t>() : membersOfSession(m_pid);
}

bool RunGroup::isEmpty() const {
  const bool blEmpty = m_strGroup.empty() ? members().empty() : !ControlGroup(m_strGroup).isPopulated();
  return blEmpty && !hasProcess();
}

bool RunGroup::has(const ProcessStatus& status) const {
  return m_strGroup.empty() ? status.pidSession == m_pid : ControlGroup(m_strGroup).has(status.pid);
}

bool RunGroup::ask() const {
  // Otherwise a process could be missed that is started just now.
  const StandStill standStill(m_strGroup);
  bool blAsked = false;
  for (const pid_t pid : members()) {
    const Process process(pid);
    const std::optional<ProcessStatus> status = process.status();
    // Looked up when the process is held: before, its id could have been given to another one.
    if (pid == m_pid || !status || isShell(*status, m_pid) || !has(*status)) {
      continue;
    }
    process.signal(SIGTERM);
    // A stopped process would not handle the signal.
    process.signal(SIGCONT);
    blAsked = true;
  }
  return blAsked;
}

void RunGroup::killProcess() const {
  if (const Process process(m_pid); hasProcess(process)) {
    process.signal(SIGKILL);
  }
}

void RunGroup::kill() const {
  killProcess();
  if (!m_strGroup.empty()) {
    ControlGroup(m_strGroup).kill();
    return;
  }
  for (const pid_t pid : members()) {
    Process(pid).signal(SIGKILL);
  }
}

}  // namespace Host
