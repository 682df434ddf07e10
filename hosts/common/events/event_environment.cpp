#include "event_environment.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string_view>

#include "common/support/failure.h"
#include "common/text/variable.h"

namespace Host {

namespace {

/// Every script gets its own value of these.
constexpr std::string_view FIXED = " PATH LANG HOME USER LOGNAME SHELL PWD OLDPWD SHLVL EORVA_EVENT EORVA_FIRED_AT ";

/// The C library, shells and interpreters obey these before the script does.
constexpr std::string_view POWERFUL =
    " IFS ENV CDPATH GLOBIGNORE PS4 SHELLOPTS BASHOPTS LOCPATH NLSPATH GCONV_PATH GETCONF_DIR HOSTALIASES LOCALDOMAIN "
    "RES_OPTIONS TZDIR TMPDIR GLIBC_TUNABLES PERLLIB PERL5LIB PERL5OPT PERL5DB RUBYLIB RUBYOPT NODE_OPTIONS NODE_PATH "
    "CLASSPATH JAVA_TOOL_OPTIONS AWKPATH FPATH RESOLV_HOST_CONF ";
constexpr std::array POWERFUL_PREFIXES = {"LD_", "BASH_", "MALLOC_", "PYTHON", "LC_"};

std::string whyNotName(std::string_view strName) {
  if (std::string strWhy = whyNotVariableName(strName); !strWhy.empty()) {
    return strWhy;
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
  std::optional<std::pair<std::string, std::string>> variable = splitVariable(strText);
  if (!variable) {
    throw UsageFailure(fmt::format("environment variable \"{}\" must have the form KEY=VALUE", strText));
  }
  const auto& [strName, strValue] = *variable;
  if (const std::string strWhy = whyNotName(strName); !strWhy.empty()) {
    throw UsageFailure(fmt::format("environment variable \"{}\" cannot be set: {}", strName, strWhy));
  }
  if (strValue.size() > CB_MAX_VARIABLE) {
    throw UsageFailure(fmt::format("environment variable \"{}\" cannot be set: its value is longer than {} bytes",
                                   strName, CB_MAX_VARIABLE));
  }
  return *variable;
}

}  // namespace Host
