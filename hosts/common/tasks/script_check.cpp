#include "script_check.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <optional>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "common/output/output_place.h"
#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// Some editors write it before a text in UTF-8. The kernel sees no "#!" behind it.
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// The words of a "#!" line; empty when the script has no such line.
std::vector<std::string> interpreterWords(const std::string& strScript) {
  if (strScript.compare(0, 2, "#!") != 0) {
    return {};
  }
  std::istringstream line(strScript.substr(2, strScript.find('\n') - 2));
  std::vector<std::string> vecWords;
  for (std::string strWord; line >> strWord;) {
    vecWords.push_back(std::move(strWord));
  }
  if (vecWords.empty()) {
    vecWords.emplace_back("?");
  }
  return vecWords;
}

bool canRun(const std::string& strProgram) {
  struct stat status{};
  return strProgram.front() == '/' && stat(strProgram.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         access(strProgram.c_str(), X_OK) == 0;
}

bool isProgram(const std::string& strName) {
  if (strName.find('/') != std::string::npos) {
    return canRun(strName);
  }
  std::istringstream folders(PROGRAM_PATH);
  for (std::string strFolder; std::getline(folders, strFolder, ':');) {
    if (canRun(fmt::format("{}/{}", strFolder, strName))) {
      return true;
    }
  }
  return false;
}

/// The program that "#!/usr/bin/env ..." starts; empty when the line is too complicated to tell.
std::string programForEnv(const std::vector<std::string>& vecWords) {
  // Without -S, env takes the rest as one word.
  const bool blSplit = vecWords.size() > 1 && vecWords[1] == "-S";
  for (std::size_t i = blSplit ? 2 : 1; i < vecWords.size(); ++i) {
    const std::string& strWord = vecWords[i];
    if (strWord.front() == '-' || strWord.find_first_of("$\\\"'") != std::string::npos) {
      return {};
    }
    const bool blVariable = strWord.find('=') != std::string::npos;
    if (!blVariable || !blSplit) {
      return blVariable ? std::string() : strWord;
    }
  }
  return {};
}

/// The program that does not exist; empty when there is none.
std::string missingInterpreter(const std::string& strScript) {
  const std::vector<std::string> vecWords = interpreterWords(strScript);
  if (vecWords.empty()) {
    return {};
  }
  if (!canRun(vecWords[0])) {
    return vecWords[0];
  }
  const bool blEnv = vecWords[0].size() >= 4 && vecWords[0].compare(vecWords[0].size() - 4, 4, "/env") == 0;
  const std::string strName = blEnv ? programForEnv(vecWords) : std::string();
  return strName.empty() || isProgram(strName) ? std::string() : strName;
}

/// The folder itself, or the nearest one above it that exists.
std::string nearestFolder(std::string strPath) {
  struct stat status{};
  while (strPath.size() > 1 && stat(strPath.c_str(), &status) != 0) {
    strPath.resize(std::max<std::size_t>(strPath.rfind('/'), 1));
  }
  return strPath;
}

}  // namespace

std::vector<std::string> warnAboutScript(const std::string& strScript) {
  std::vector<std::string> vecWarnings;
  if (strScript.find_first_not_of(" \t\r\n") == std::string::npos) {
    vecWarnings.emplace_back("the script is empty");
  }
  if (const std::size_t iNul = strScript.find('\0'); iNul != std::string::npos) {
    vecWarnings.push_back(fmt::format("the script contains a NUL byte (byte {}), which a shell skips", iNul + 1));
  }
  if (const std::size_t iCr = strScript.find("\r\n"); iCr != std::string::npos) {
    const auto cLines = std::count(strScript.begin(), strScript.begin() + static_cast<std::ptrdiff_t>(iCr), '\n');
    vecWarnings.push_back(fmt::format("line {} of the script ends with CR LF (a Windows line end)", cLines + 1));
  }
  if (strScript.compare(0, BYTE_ORDER_MARK.size(), BYTE_ORDER_MARK) == 0) {
    vecWarnings.emplace_back("the script begins with a byte order mark; remove it, or \"#!\" does not work");
  }
  if (const std::string strMissing = missingInterpreter(strScript); !strMissing.empty()) {
    vecWarnings.push_back(fmt::format("the interpreter {} does not exist or is not executable", strMissing));
  }
  return vecWarnings;
}

std::string warnAboutScriptFolder() {
  try {
    const std::optional<OutputPlace> place = OutputPlace::enabled();
    const std::string strFolder = nearestFolder(place ? place->path() : "/tmp");
    struct statvfs info{};
    if (statvfs(strFolder.c_str(), &info) == 0 && (info.f_flag & ST_NOEXEC) != 0) {
      return fmt::format("scripts are started in {}, which is mounted noexec", strFolder);
    }
  } catch (const Failure& error) {
    return error.what();
  }
  return {};
}

}  // namespace Host
