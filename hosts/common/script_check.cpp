#include "script_check.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <unistd.h>

namespace Host {

namespace {

/// The interpreter of a "#!" line; empty when the script has no such line.
std::string interpreterOf(const std::string& strScript) {
  if (strScript.compare(0, 2, "#!") != 0) {
    return {};
  }
  const std::size_t iStart = strScript.find_first_not_of(" \t", 2);
  const std::size_t iLine = std::min(strScript.find('\n'), strScript.size());
  if (iStart == std::string::npos || iStart >= iLine) {
    return "?";
  }
  return strScript.substr(iStart, std::min(strScript.find_first_of(" \t\n", iStart), iLine) - iStart);
}

}  // namespace

std::vector<std::string> warnAboutScript(const std::string& strScript) {
  std::vector<std::string> vecWarnings;
  if (strScript.find_first_not_of(" \t\r\n") == std::string::npos) {
    vecWarnings.emplace_back("the script is empty");
  }
  if (const std::size_t iNul = strScript.find('\0'); iNul != std::string::npos) {
    vecWarnings.push_back(fmt::format("the script holds a NUL byte (byte {}): a shell reads it differently", iNul + 1));
  }
  if (const std::size_t iCr = strScript.find("\r\n"); iCr != std::string::npos) {
    const auto cLines = std::count(strScript.begin(), strScript.begin() + static_cast<std::ptrdiff_t>(iCr), '\n');
    vecWarnings.push_back(fmt::format("line {} of the script ends with CR LF, as Windows writes it", cLines + 1));
  }
  std::string strInterpreter = interpreterOf(strScript);
  if (!strInterpreter.empty() && strInterpreter.back() == '\r') {
    strInterpreter.pop_back();
  }
  if (!strInterpreter.empty() && access(strInterpreter.c_str(), X_OK) != 0) {
    vecWarnings.push_back(fmt::format("the script's interpreter {} cannot be run here", strInterpreter));
  }
  return vecWarnings;
}

}  // namespace Host
