#include "leftovers.h"

#include <csignal>
#include <fmt/format.h>
#include <fstream>
#include <poll.h>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/process.h"

namespace Host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int PAUSE_MILLISECONDS = 20;

/// How long mail delivery may take.
constexpr std::chrono::seconds MAIL_TIME(10);

/// The name of the process that delivers mail.
bool isCourier(pid_t pid) {
  std::ifstream file(fmt::format("/proc/{}/comm", pid));
  std::string strName;
  return std::getline(file, strName) && strName == "orvamail";
}

/// Processes of a script have its environment; a mail program in the background has its own.
bool isOfScript(pid_t pid) {
  std::ifstream file(fmt::format("/proc/{}/environ", pid));
  for (std::string strVariable; std::getline(file, strVariable, '\0');) {
    if (strVariable.rfind("EORVA_EVENT=", 0) == 0) {
      return true;
    }
  }
  return false;
}

/// The processes that deliver mail.
std::set<pid_t> mailAmong(const std::vector<ProcessStatus>& vecRest, const ProcessTable& table) {
  std::set<pid_t> setMail;
  for (const ProcessStatus& status : vecRest) {
    if (isCourier(status.pid)) {
      for (const ProcessStatus& below : table.below(status.pid)) {
        setMail.insert(below.pid);
      }
    }
    if (isCourier(status.pid) || !isOfScript(status.pid)) {
      setMail.insert(status.pid);
    }
  }
  return setMail;
}

class Rest {
public:
  Rest(std::chrono::seconds grace, std::chrono::seconds killLimit) : m_grace(grace), m_killLimit(killLimit) {}

  /// Does the next step. \return true when no process is left, or the time is up.
  bool step() {
    while (waitpid(-1, nullptr, WNOHANG) > 0) {
    }
    const ProcessTable table;
    const std::vector<ProcessStatus> vecRest = table.below(getpid());
    const std::set<pid_t> setMail = mailAmong(vecRest, table);
    for (const ProcessStatus& status : vecRest) {
      end(status, setMail.count(status.pid) > 0);
    }
    const auto mailTime = setMail.empty() ? MAIL_TIME.zero() : MAIL_TIME;
    return vecRest.empty() || Clock::now() - m_start >= mailTime + m_grace + m_killLimit;
  }

private:
  void end(const ProcessStatus& status, bool blMail) {
    const Clock::time_point ask = m_start + (blMail ? MAIL_TIME : MAIL_TIME.zero());
    const Process process(status);
    if (Clock::now() >= ask + m_grace) {
      process.signal(SIGKILL);
    } else if (Clock::now() >= ask && m_setAsked.insert(status.pid).second) {
      process.signal(SIGTERM);
      // A stopped process would not handle the signal.
      process.signal(SIGCONT);
    }
  }

  std::chrono::seconds m_grace;
  std::chrono::seconds m_killLimit;
  Clock::time_point m_start = Clock::now();
  std::set<pid_t> m_setAsked;
};

}  // namespace

void endLeftovers(std::chrono::seconds grace, std::chrono::seconds killLimit) {
  Rest rest(grace, killLimit);
  while (!rest.step()) {
    poll(nullptr, 0, PAUSE_MILLISECONDS);
  }
}

}  // namespace Host
