#include "systemd_units.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/program.h"

namespace Host {

namespace {

struct Answer {
  int iStatus = 0;      ///< as waitpid gives it
  std::string strText;  ///< its standard output and standard error
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

/// Gives nothing when systemctl is not installed.
std::optional<Answer> systemctlIfInstalled(const std::vector<std::string>& vecArguments) {
  try {
    return systemctl(vecArguments);
  } catch (const ProgramMissing&) {
    return std::nullopt;
  }
}

/// Where systemd does not run, only the links of units can be read.
UnitState stateFromFiles(const std::string& strUnit) {
  UnitState state;
  const std::optional<Answer> answer = systemctlIfInstalled({"is-enabled", strUnit});
  if (!answer) {
    state.blKnown = false;
    return state;
  }
  std::istringstream text(answer->strText);
  // For a missing unit, systemctl prints a sentence.
  if (std::string strRest; !(text >> state.strInstalled) || text >> strRest) {
    state.strInstalled.clear();
  }
  return state;
}

/// systemctl quotes a name with a backslash as for a shell; no name of a unit has a blank.
std::string unquoted(const std::string& strWord) {
  if (strWord.size() < 2 || strWord.front() != '"') {
    return strWord;
  }
  std::string strName;
  for (std::size_t i = 1; i + 1 < strWord.size(); ++i) {
    i += strWord[i] == '\\' ? 1 : 0;
    strName += strWord[i];
  }
  return strName;
}

std::vector<std::string> namesIn(const std::string& strText) {
  std::istringstream text(strText);
  std::vector<std::string> vecNames{std::istream_iterator<std::string>(text), {}};
  std::transform(vecNames.begin(), vecNames.end(), vecNames.begin(), &unquoted);
  return vecNames;
}

/// Reads one of the blocks that systemctl separates by empty lines: lines KEY=VALUE.
std::map<std::string, std::string> readBlock(std::istream& text) {
  std::map<std::string, std::string> mapValues;
  for (std::string strLine; std::getline(text, strLine) && !strLine.empty();) {
    if (const std::size_t iSign = strLine.find('='); iSign != std::string::npos) {
      mapValues[strLine.substr(0, iSign)] = strLine.substr(iSign + 1);
    }
  }
  return mapValues;
}

/// Asks systemd for all units at once.
/// \return their states by name; a unit can have several names.
std::map<std::string, UnitState> statesFromManager(const std::vector<std::string>& vecUnits) {
  std::vector<std::string> vecArguments{"show", "--property=Names,UnitFileState,ActiveState,TriggeredBy", "--"};
  vecArguments.insert(vecArguments.end(), vecUnits.begin(), vecUnits.end());
  std::istringstream text(systemctl(std::move(vecArguments)).strText);
  std::map<std::string, UnitState> mapStates;
  while (text) {
    std::map<std::string, std::string> mapValues = readBlock(text);
    const UnitState state{true, mapValues["UnitFileState"], mapValues["ActiveState"],
                          namesIn(mapValues["TriggeredBy"])};
    for (const std::string& strName : namesIn(mapValues["Names"])) {
      mapStates[strName] = state;
    }
  }
  return mapStates;
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
  std::vector<UnitState> vecStates;
  vecStates.reserve(vecUnits.size());
  if (!isSystemdRunning()) {
    std::transform(vecUnits.begin(), vecUnits.end(), std::back_inserter(vecStates), &stateFromFiles);
  } else if (!vecUnits.empty()) {
    const std::map<std::string, UnitState> mapStates = statesFromManager(vecUnits);
    for (const std::string& strUnit : vecUnits) {
      const auto it = mapStates.find(strUnit);
      // The answer ends at a name that cannot be a unit's, as one of more than 255 bytes.
      vecStates.push_back(it != mapStates.end() ? it->second : statesFromManager({strUnit})[strUnit]);
    }
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
