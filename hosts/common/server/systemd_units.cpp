#include "systemd_units.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/program.h"
#include "common/support/unique_fd.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"

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

/// A timer with Persistent= elapses at once when it starts and has missed a time since it last elapsed. systemd takes
/// that from the time of a file; without the file, from the last start.
void setElapsedNow(const std::string& strTimer) {
  const std::string strStamp = "/var/lib/systemd/timers/stamp-" + strTimer;
  const UniqueFd fd(open(strStamp.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
  if (fd.isOpen()) {
    futimens(fd.get(), nullptr);
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
std::vector<UnitState> statesFromFiles(const std::vector<std::string>& vecUnits) {
  std::vector<UnitState> vecStates(vecUnits.size());
  std::vector<std::string> vecArguments{"list-unit-files", "--output=json", "--"};
  vecArguments.insert(vecArguments.end(), vecUnits.begin(), vecUnits.end());
  const std::optional<Answer> answer = systemctlIfInstalled(vecArguments);
  std::map<std::string, std::string> mapInstalled;
  for (const Json::Value& jUnit : answer ? readJsonOrNull(answer->strText) : Json::Value()) {
    mapInstalled[textOf(jUnit, "unit_file")] = textOf(jUnit, "state");
  }
  for (std::size_t i = 0; i < vecUnits.size(); ++i) {
    vecStates[i].blKnown = answer.has_value();
    vecStates[i].strInstalled = mapInstalled[vecUnits[i]];
  }
  return vecStates;
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
  if (vecUnits.empty()) {
    return {};
  }
  if (!isSystemdRunning()) {
    return statesFromFiles(vecUnits);
  }
  std::vector<UnitState> vecStates;
  vecStates.reserve(vecUnits.size());
  const std::map<std::string, UnitState> mapStates = statesFromManager(vecUnits);
  for (const std::string& strUnit : vecUnits) {
    const auto it = mapStates.find(strUnit);
    // The answer ends at a name that cannot be a unit's, as one of more than 255 bytes.
    vecStates.push_back(it != mapStates.end() ? it->second : statesFromManager({strUnit})[strUnit]);
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

void reloadUnits() {
  if (isSystemdRunning()) {
    demand({"daemon-reload"});
  }
}

void stopTimer(const std::string& strTimer) {
  if (isSystemdRunning()) {
    systemctl({"stop", "--", strTimer});
  }
}

void startTimerAnew(const std::string& strTimer) {
  demand({"--quiet", "enable", "--", strTimer});
  if (isSystemdRunning()) {
    setElapsedNow(strTimer);
    demand({"start", "--", strTimer});
  }
}

void endTimer(const std::string& strTimer) {
  disableUnit(strTimer);
  if (isSystemdRunning()) {
    systemctl({"clean", "--what=state", "--", strTimer});
  }
}

std::map<std::string, std::int64_t> nextElapses(const std::vector<std::string>& vecTimers) {
  std::map<std::string, std::int64_t> mapElapses;
  if (vecTimers.empty() || !isSystemdRunning()) {
    return mapElapses;
  }
  std::vector<std::string> vecArguments{"list-timers", "--all", "--output=json", "--"};
  vecArguments.insert(vecArguments.end(), vecTimers.begin(), vecTimers.end());
  constexpr Json::Int64 MICROSECONDS = 1000000;
  for (const Json::Value& jTimer : readJsonOrNull(systemctl(std::move(vecArguments)).strText)) {
    if (const Json::Int64 iNext = intOf(jTimer, "next") / MICROSECONDS; iNext > 0) {
      mapElapses[textOf(jTimer, "unit")] = iNext;
    }
  }
  return mapElapses;
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

std::string unescapeUnitName(const std::string& strName) {
  constexpr int HEXADECIMAL = 16;
  std::string strPlain;
  for (std::size_t i = 0; i < strName.size(); ++i) {
    if (strName.compare(i, 2, "\\x") == 0 && i + 3 < strName.size()) {
      strPlain += static_cast<char>(std::strtol(strName.substr(i + 2, 2).c_str(), nullptr, HEXADECIMAL));
      i += 3;
    } else {
      strPlain += strName[i] == '-' ? '/' : strName[i];
    }
  }
  return strPlain;
}

std::string eventUnit(const std::string& strEvent) {
  return fmt::format("eorva-event@{}.service", escapeUnitName(strEvent));
}

std::string eventTimer(const std::string& strEvent) {
  return fmt::format("eorva-event@{}.timer", escapeUnitName(strEvent));
}

}  // namespace Host
