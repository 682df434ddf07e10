#include "systemd_units.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/program.h"

namespace Host {

namespace {

struct Answer {
  int iStatus = 0;      ///< as waitpid gives it
  std::string strText;  ///< what was written to standard output and standard error
};

Answer systemctl(std::vector<std::string> vecArguments) {
  vecArguments.insert(vecArguments.begin(), "systemctl");
  Answer answer;
  answer.iStatus = Program(std::move(vecArguments)).run(answer.strText);
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
  } catch (const ProgramMissing&) {
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
