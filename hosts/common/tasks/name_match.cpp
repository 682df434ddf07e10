#include "name_match.h"

#include <sqlite3.h>

namespace Host {

bool matches(const std::string& strPattern, const std::string& strText) {
  return sqlite3_strlike(strPattern.c_str(), strText.c_str(), 0) == 0;
}

std::string folded(std::string strName) {
  for (char& c : strName) {
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return strName;
}

std::string dependantPattern(const std::string& strName) {
  return "%[" + strName + "]%";
}

}  // namespace Host
