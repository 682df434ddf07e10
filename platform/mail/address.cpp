#include "mail/address.h"

#include <algorithm>

namespace orva {
namespace {

constexpr std::size_t CB_ADDRESS_MAX = 254;
constexpr std::size_t CB_LOCAL_MAX = 64;
constexpr std::size_t CB_LABEL_MAX = 63;

bool isAlnum(char ch) {
  return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9');
}

bool isLocalPart(std::string_view strLocal) {
  constexpr std::string_view MARKS = "._+=~&'-";
  return !strLocal.empty() && strLocal.size() <= CB_LOCAL_MAX && (isAlnum(strLocal.front()) || strLocal[0] == '_') &&
         strLocal.back() != '.' && strLocal.find("..") == std::string_view::npos &&
         std::all_of(strLocal.begin(), strLocal.end(),
                     [MARKS](char ch) { return isAlnum(ch) || MARKS.find(ch) != std::string_view::npos; });
}

bool isLabel(std::string_view strLabel) {
  return !strLabel.empty() && strLabel.size() <= CB_LABEL_MAX && strLabel.front() != '-' && strLabel.back() != '-' &&
         std::all_of(strLabel.begin(), strLabel.end(), [](char ch) { return isAlnum(ch) || ch == '-'; });
}

bool isDomain(std::string_view strDomain) {
  for (;;) {
    const std::size_t uEnd = strDomain.find('.');
    if (!isLabel(strDomain.substr(0, uEnd))) {
      return false;
    }
    if (uEnd == std::string_view::npos) {
      return true;
    }
    strDomain.remove_prefix(uEnd + 1);
  }
}

}  // namespace

bool isMailAddress(std::string_view strAddress) {
  const std::size_t uAt = strAddress.find('@');
  return strAddress.size() <= CB_ADDRESS_MAX && isLocalPart(strAddress.substr(0, uAt)) &&
         (uAt == std::string_view::npos || isDomain(strAddress.substr(uAt + 1)));
}

}  // namespace orva
