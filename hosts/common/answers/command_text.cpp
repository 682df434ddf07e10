#include "command_text.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/text/shell_word.h"

namespace Host {

namespace {

bool looksLikeOption(const std::string& strName) {
  return !strName.empty() && strName.front() == '-';
}

}  // namespace

std::string eorvaCommand(const std::string& strWords, const std::vector<std::string>& vecNames,
                         const std::string& strOptions) {
  std::string strNames;
  for (const std::string& strName : vecNames) {
    strNames += " " + shellWord(strName);
  }
  return std::any_of(vecNames.begin(), vecNames.end(), looksLikeOption)
             ? fmt::format("eorva {}{} --{}", strWords, strOptions, strNames)
             : fmt::format("eorva {}{}{}", strWords, strNames, strOptions);
}

std::string optionText(const std::string& strOption, const std::string& strValue) {
  return fmt::format(" {}{}{}", strOption, looksLikeOption(strValue) ? "=" : " ", shellWord(strValue));
}

std::string waitsForCommand(const std::string& strTask, const std::vector<std::string>& vecWaitsFor) {
  std::string strOptions;
  for (const std::string& strAwaited : vecWaitsFor) {
    strOptions += optionText("--after", strAwaited);
  }
  return eorvaCommand("task edit", {strTask}, strOptions.empty() ? " --no-after" : strOptions);
}

std::string ownerCommand(const std::string& strTask, const std::string& strUser) {
  return eorvaCommand("task edit", {strTask}, optionText("--owner", strUser.empty() ? "USER" : strUser));
}

}  // namespace Host
