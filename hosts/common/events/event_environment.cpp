#include "event_environment.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr std::size_t CB_NAME = 64;

/// All variables together must fit into a command line.
constexpr std::size_t CB_VALUE = 16384;

/// Every script gets its own value of these.
constexpr std::string_view FIXED = " PATH LANG HOME USER LOGNAME SHELL PWD OLDPWD SHLVL EORVA_EVENT EORVA_FIRED_AT ";

/// The C library, shells and interpreters obey these before the script does.
constexpr std::string_view POWERFUL =
    " IFS ENV CDPATH GLOBIGNORE PS4 SHELLOPTS BASHOPTS LOCPATH NLSPATH GCONV_PATH GETCONF_DIR HOSTALIASES LOCALDOMAIN "
    "RES_OPTIONS TZDIR TMPDIR GLIBC_TUNABLES PERLLIB PERL5LIB PERL5OPT PERL5DB RUBYLIB RUBYOPT NODE_OPTIONS NODE_PATH "
    "CLASSPATH JAVA_TOOL_OPTIONS AWKPATH FPATH RESOLV_HOST_CONF ";
constexpr std::array POWERFUL_PREFIXES = {"LD_", "BASH_", "MALLOC_", "PYTHON", "LC_"};

bool isNameLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

std::string whyNotName(std::string_view strName) {
  if (strName.empty() || strName.size() > CB_NAME || !std::all_of(strName.begin(), strName.end(), isNameLetter) ||
      (strName.front() >= '0' && strName.front() <= '9')) {
    return fmt::format("a name has 1 to {} letters, digits or \"_\", and does not begin with a digit", CB_NAME);
  }
  const std::string strWord = fmt::format(" {} ", strName);
  if (FIXED.find(strWord) != std::string_view::npos) {
    return "it has the same value for every script";
  }
  const bool blPrefix = std::any_of(POWERFUL_PREFIXES.begin(), POWERFUL_PREFIXES.end(),
                                    [&](std::string_view strPrefix) { return strName.starts_with(strPrefix); });
  if (blPrefix || POWERFUL.find(strWord) != std::string_view::npos) {
    return "it changes how programs are found or loaded";
  }
  return {};
}

}  // namespace

std::pair<std::string, std::string> parseVariable(const std::string& strText) {
  const std::size_t iEqual = strText.find('=');
  if (iEqual == std::string::npos) {
    throw UsageFailure(fmt::format("environment variable \"{}\" must have the form KEY=VALUE", strText));
  }
  std::pair<std::string, std::string> variable(strText.substr(0, iEqual), strText.substr(iEqual + 1));
  if (const std::string strWhy = whyNotName(variable.first); !strWhy.empty()) {
    throw UsageFailure(fmt::format("environment variable \"{}\" cannot be set: {}", variable.first, strWhy));
  }
  if (variable.second.size() > CB_VALUE) {
    throw UsageFailure(fmt::format("environment variable \"{}\" cannot be set: its value is longer than {} bytes",
                                   variable.first, CB_VALUE));
  }
  return variable;
}

}  // namespace Host
