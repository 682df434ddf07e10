/// \file call_text.h
/// Calls as readable text: `recList(task, {"task_name":"a"})`.

#pragma once

#include <json/value.h>
#include <string>
#include <type_traits>

namespace OrvaTest {

/// A number, written in base 16.
struct Hex {
  unsigned long ulValue;
};

/// Permission bits.
struct Octal {
  unsigned long ulValue;
};

/// JSON on one line, members in the order of their names.
std::string compactJson(const Json::Value& jValue);

std::string describe(const char* szText);
std::string describe(Hex number);
std::string describe(Octal number);
inline std::string describe(const std::string& strText) {
  return strText;
}
inline std::string describe(const Json::Value& jValue) {
  return compactJson(jValue);
}
inline std::string describe(bool blValue) {
  return blValue ? "true" : "false";
}

template <typename Number>
  requires(std::is_integral_v<Number> && !std::is_same_v<Number, bool>)
std::string describe(Number number) {
  return std::to_string(number);
}

template <typename... Arguments>
std::string callText(const char* szName, const Arguments&... arguments) {
  std::string strList;
  ((strList += (strList.empty() ? "\1" : ", ") + describe(arguments)), ...);
  return std::string(szName) + "(" + (strList.empty() ? strList : strList.substr(1)) + ")";
}

}  // namespace OrvaTest
