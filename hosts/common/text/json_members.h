/// \file json_members.h
/// Members of records, read without trusting their types.

#pragma once

#include <json/value.h>
#include <string>

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

}  // namespace Host
