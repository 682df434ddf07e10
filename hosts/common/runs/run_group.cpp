#include "run_group.h"

#include <csignal>
#include <fmt/format.h>
#include <fstream>
#include <optional>

#include "common/support/control_group.h"
#include "common/support/process.h"

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

}  // namespace

std::vector<pid_t> RunGroup::members() const {
  return m_strGroup.empty() ? membersOfSession(m_pid) : ControlGroup(m_strGroup).members();
}

bool RunGroup::isEmpty() const {
  return m_strGroup.empty() ? members().empty() : !ControlGroup(m_strGroup).isPopulated();
}

bool RunGroup::has(const ProcessStatus& status) const {
  return m_strGroup.empty() ? status.pidSession == m_pid : ControlGroup(m_strGroup).has(status.pid);
}

bool RunGroup::ask() const {
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

void RunGroup::kill() const {
  if (!m_strGroup.empty()) {
    ControlGroup(m_strGroup).kill();
    return;
  }
  for (const pid_t pid : members()) {
    Process(pid).signal(SIGKILL);
  }
}

}  // namespace Host
