/// \file json_members.h
/// Members of records, read without trusting their types.

#pragma once

#include <initializer_list>
#include <json/value.h>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// Gives a member; null when the value is no object or lacks it.
inline const Json::Value& memberOf(const Json::Value& jRec, const char* szKey) {
  static const Json::Value J_NULL;
  return jRec.isObject() ? jRec[szKey] : J_NULL;
}

/// Gives a string member; empty when it is absent or something else.
inline std::string textOf(const Json::Value& jRec, const char* szKey) {
  const Json::Value& jValue = memberOf(jRec, szKey);
  return jValue.isString() ? jValue.asString() : std::string();
}

/// Gives an integer member; the given default when it is absent or something else.
inline Json::Int64 intOf(const Json::Value& jRec, const char* szKey, Json::Int64 iDefault = 0) {
  const Json::Value& jValue = memberOf(jRec, szKey);
  return jValue.isInt64() ? jValue.asInt64() : iDefault;
}

/// Gives a boolean member; the given default when it is absent or something else.
inline bool boolOf(const Json::Value& jRec, const char* szKey, bool blDefault = false) {
  const Json::Value& jValue = memberOf(jRec, szKey);
  return jValue.isBool() ? jValue.asBool() : blDefault;
}

/// Gives the texts of an array member; none when it is absent or something else.
inline std::vector<std::string> textsOf(const Json::Value& jRec, const char* szKey) {
  std::vector<std::string> vecTexts;
  for (const Json::Value& jText : memberOf(jRec, szKey)) {
    if (jText.isString()) {
      vecTexts.push_back(jText.asString());
    }
  }
  return vecTexts;
}

/// Makes an object of its members.
inline Json::Value objectOf(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value jOut(Json::objectValue);
  for (const auto& [szKey, jMember] : members) {
    jOut[szKey] = jMember;
  }
  return jOut;
}

/// Makes an array: of items, each in the form that a function gives it, or as it is.
template <typename Items, typename Form>
Json::Value arrayOf(const Items& items, Form form) {
  Json::Value jOut(Json::arrayValue);
  for (const auto& item : items) {
    jOut.append(form(item));
  }
  return jOut;
}

template <typename Items>
Json::Value arrayOf(const Items& items) {
  return arrayOf(items, [](const auto& item) { return Json::Value(item); });
}

}  // namespace Host
