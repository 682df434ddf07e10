#include "variable.h"

#include <algorithm>
#include <fmt/format.h>

namespace Host {

namespace {

constexpr std::size_t CB_NAME = 64;

bool isNameLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

std::optional<std::pair<std::string, std::string>> splitVariable(const std::string& strText) {
  const std::size_t iEqual = strText.find('=');
  return iEqual == std::string::npos ? std::nullopt
                                     : std::optional(std::pair(strText.substr(0, iEqual), strText.substr(iEqual + 1)));
}

std::string whyNotVariableName(std::string_view strName) {
  const bool blSound = !strName.empty() && strName.size() <= CB_NAME &&
                       std::all_of(strName.begin(), strName.end(), isNameLetter) &&
                       (strName.front() < '0' || strName.front() > '9');
  return blSound ? std::string()
                 : fmt::format("a name has 1 to {} letters, digits or \"_\", and does not begin with a digit", CB_NAME);
}

}  // namespace Host
