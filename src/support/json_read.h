// Reads JSON values without exceptions, by testing the type first.

#pragma once

#include <json/value.h>
#include <string>

namespace Orva {

inline bool isObjectOrNull(const Json::Value& jValue) {
  return jValue.isObject() || jValue.isNull();
}

// Whether a value of any type is an object with that member.
inline bool hasMember(const Json::Value& jValue, const char* szKey) {
  return jValue.isObject() && jValue.isMember(szKey);
}

// Null for a missing member; never inserts it, as a read through a non-const value would.
inline const Json::Value& memberOf(const Json::Value& jObject, const char* szKey) {
  return jObject.isObject() ? jObject[szKey] : Json::Value::nullSingleton();
}

// Whether asInt64() works: integers in range, reals in range, booleans, and null as 0.
inline bool isInt64Like(const Json::Value& jValue) {
  constexpr double LIMIT = 9223372036854775808.0;
  if (jValue.type() == Json::realValue) {
    return jValue.asDouble() >= -LIMIT && jValue.asDouble() < LIMIT;
  }
  return jValue.isInt64() || jValue.isBool() || jValue.isNull();
}

// Whether asString() works: strings, numbers, booleans, and null as the empty text.
inline bool isTextLike(const Json::Value& jValue) {
  return jValue.isConvertibleTo(Json::stringValue);
}

// Whether asBool() works: booleans, numbers, and null as false.
inline bool isBoolLike(const Json::Value& jValue) {
  return jValue.isConvertibleTo(Json::booleanValue);
}

// The text of any value, for log lines; empty for a value without a text.
inline std::string textOf(const Json::Value& jValue) {
  return isTextLike(jValue) ? jValue.asString() : std::string();
}

}  // namespace Orva
