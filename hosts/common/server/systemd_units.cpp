#include "systemd_units.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/unique_fd.h"

namespace Host {

namespace {

struct Answer {
  int iStatus = 0;      ///< as waitpid gives it
  std::string strText;  ///< what was written to standard output and standard error
};

/// There is no such program.
class NotInstalled : public Failure {
public:
  using Failure::Failure;
};

class SpawnActions {
public:
  SpawnActions() { posix_spawn_file_actions_init(&m_actions); }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&m_actions); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  void putInPlaceOf(int fd, int fdTarget) { posix_spawn_file_actions_adddup2(&m_actions, fd, fdTarget); }
  const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
  posix_spawn_file_actions_t m_actions{};
};

std::string readAll(int fd) {
  std::string strText;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t cb = read(fd, buffer.data(), buffer.size());
    if (cb > 0) {
      strText.append(buffer.data(), static_cast<std::size_t>(cb));
    } else if (cb == 0 || errno != EINTR) {
      return strText;
    }
  }
}

Answer systemctl(std::vector<std::string> vecArguments) {
  vecArguments.insert(vecArguments.begin(), "systemctl");
  std::vector<char*> vecPointers;
  vecPointers.reserve(vecArguments.size() + 1);
  for (std::string& strArgument : vecArguments) {
    vecPointers.push_back(strArgument.data());
  }
  vecPointers.push_back(nullptr);

  std::array<int, 2> fds{};
  if (pipe2(fds.data(), O_CLOEXEC) != 0) {
    throw Failure(fmt::format("cannot run systemctl: {}", std::strerror(errno)));
  }
  const UniqueFd fdRead(fds[0]);
  UniqueFd fdWrite(fds[1]);
  SpawnActions actions;
  actions.putInPlaceOf(fdWrite.get(), STDOUT_FILENO);
  actions.putInPlaceOf(fdWrite.get(), STDERR_FILENO);
  pid_t pid = 0;
  const int iError = posix_spawnp(&pid, "systemctl", actions.get(), nullptr, vecPointers.data(), environ);
  if (iError == ENOENT) {
    throw NotInstalled("cannot run systemctl: systemd is not installed");
  }
  if (iError != 0) {
    throw Failure(fmt::format("cannot run systemctl: {}", std::strerror(iError)));
  }
  fdWrite = UniqueFd();
  Answer answer;
  answer.strText = readAll(fdRead.get());
  while (waitpid(pid, &answer.iStatus, 0) < 0 && errno == EINTR) {
  }
  return answer;
}

void demand(const std::vector<std::string>& vecArguments) {
  const Answer answer = systemctl(vecArguments);
  if (!WIFEXITED(answer.iStatus) || WEXITSTATUS(answer.iStatus) != 0) {
    throw Failure(fmt::format("systemctl {} failed: {}", fmt::join(vecArguments, " "), answer.strText));
  }
}

/// Nothing, where there is no such program.
std::optional<Answer> systemctlIfInstalled(const std::vector<std::string>& vecArguments) {
  try {
    return systemctl(vecArguments);
  } catch (const NotInstalled&) {
    return std::nullopt;
  }
}

/// Without systemd there are only the links of its units to look at.
UnitState stateFromFiles(const std::string& strUnit) {
  UnitState state;
  const std::optional<Answer> answer = systemctlIfInstalled({"is-enabled", strUnit});
  if (!answer) {
    state.blKnown = false;
    return state;
  }
  std::istringstream text(answer->strText);
  // A unit that is not there is told by a whole sentence.
  if (std::string strRest; !(text >> state.strInstalled) || text >> strRest) {
    state.strInstalled.clear();
  }
  return state;
}

void takeProperty(UnitState& state, const std::string& strKey, const std::string& strValue) {
  if (strKey == "UnitFileState") {
    state.strInstalled = strValue;
  } else if (strKey == "ActiveState") {
    state.strActive = strValue;
  } else if (strKey == "TriggeredBy") {
    std::istringstream names(strValue);
    for (std::string strName; names >> strName;) {
      state.vecTriggers.push_back(strName);
    }
  }
}

UnitState stateFromManager(const std::string& strUnit) {
  const Answer answer = systemctl({"show", "--property=UnitFileState,ActiveState,TriggeredBy", "--", strUnit});
  std::istringstream text(answer.strText);
  UnitState state;
  for (std::string strLine; std::getline(text, strLine);) {
    const std::size_t iSign = strLine.find('=');
    if (iSign != std::string::npos) {
      takeProperty(state, strLine.substr(0, iSign), strLine.substr(iSign + 1));
    }
  }
  return state;
}

}  // namespace

bool isSystemdRunning() {
  return access("/run/systemd/system", F_OK) == 0;
}

bool isSystemStopping() {
  const std::optional<Answer> answer = isSystemdRunning() ? systemctlIfInstalled({"is-system-running"}) : std::nullopt;
  return answer && answer->strText == "stopping\n";
}

std::vector<UnitState> unitStates(const std::vector<std::string>& vecUnits) {
  const bool blRunning = isSystemdRunning();
  std::vector<UnitState> vecStates;
  vecStates.reserve(vecUnits.size());
  for (const std::string& strUnit : vecUnits) {
    vecStates.push_back(blRunning ? stateFromManager(strUnit) : stateFromFiles(strUnit));
  }
  return vecStates;
}

void enableUnit(const std::string& strUnit, bool blNow) {
  demand({"--quiet", "enable", "--", strUnit});
  if (blNow && isSystemdRunning()) {
    demand({"start", "--", strUnit});
  }
}

void disableUnit(const std::string& strUnit) {
  demand({"--quiet", "disable", "--", strUnit});
  if (isSystemdRunning()) {
    demand({"stop", "--", strUnit});
  }
}

std::string escapeUnitName(const std::string& strName) {
  std::string strEscaped;
  for (const char c : strName) {
    const bool blLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    if (c == '/') {
      strEscaped += '-';
    } else if (blLetter || c == ':' || c == '_' || (c == '.' && !strEscaped.empty())) {
      strEscaped += c;
    } else {
      strEscaped += fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    }
  }
  return strEscaped;
}

std::string eventUnit(const std::string& strEvent) {
  return fmt::format("eorva-event@{}.service", escapeUnitName(strEvent));
}

}  // namespace Host
