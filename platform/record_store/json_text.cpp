#include "record_store/json_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <json/reader.h>

#include "record_store/lasting_text.h"

namespace record_store {
namespace {

// Well below what the reader accepts and what recursion costs in stack.
constexpr int MAX_DEPTH = 500;
constexpr const char* TOO_DEEP = "it is nested deeper than 500 levels";

// Longer texts seldom repeat, and comparing them would cost more than it saves.
constexpr std::size_t MAX_KNOWN_TEXT = 64;

constexpr unsigned char FIRST_PRINTABLE = 0x20;

void appendEscaped(unsigned char uCharacter, std::string& strOut) {
  constexpr std::string_view HEX = "0123456789abcdef";
  strOut += "\\u00";
  strOut += HEX[uCharacter >> 4U];
  strOut += HEX[uCharacter & 0xfU];
}

// Bytes above 0x7f are not changed, so text that is not UTF-8 comes back byte for byte.
void appendString(std::string_view strText, std::string& strOut) {
  strOut += '"';
  for (const char cCharacter : strText) {
    if (cCharacter == '"' || cCharacter == '\\') {
      strOut += '\\';
      strOut += cCharacter;
    } else if (static_cast<unsigned char>(cCharacter) < FIRST_PRINTABLE) {
      appendEscaped(static_cast<unsigned char>(cCharacter), strOut);
    } else {
      strOut += cCharacter;
    }
  }
  strOut += '"';
}

template <typename Number>
std::string_view digits(Number number, std::array<char, 32>& buffer) {
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), result.ptr};
}

template <typename Number>
void appendNumber(Number number, std::string& strOut) {
  std::array<char, 32> buffer;
  strOut += digits(number, buffer);
}

// Writes the shortest digits that read back as the same number. A whole number keeps ".0", so that it stays a real.
void appendReal(double dNumber, std::string& strOut) {
  std::array<char, 32> buffer;
  const std::string_view strDigits = digits(dNumber, buffer);
  strOut += strDigits;
  if (strDigits.find_first_of(".e") == std::string_view::npos) {
    strOut += ".0";
  }
}

std::string_view stringOf(const Json::Value& jString) {
  const char* pBegin = nullptr;
  const char* pEnd = nullptr;
  jString.getString(&pBegin, &pEnd);
  return {pBegin, pEnd};
}

const char* append(const Json::Value& jValue, int iDepth, std::string& strOut);

const char* appendArray(const Json::Value& jArray, int iDepth, std::string& strOut) {
  char cSeparator = '[';
  for (const Json::Value& jElement : jArray) {
    strOut += cSeparator;
    cSeparator = ',';
    if (const char* szReason = append(jElement, iDepth, strOut)) {
      return szReason;
    }
  }
  strOut += jArray.empty() ? "[]" : "]";
  return nullptr;
}

const char* appendObject(const Json::Value& jObject, int iDepth, std::string& strOut) {
  char cSeparator = '{';
  for (auto member = jObject.begin(); member != jObject.end(); ++member) {
    strOut += cSeparator;
    cSeparator = ',';
    const char* pEnd = nullptr;
    const char* pBegin = member.memberName(&pEnd);
    appendString({pBegin, pEnd}, strOut);
    strOut += ':';
    if (const char* szReason = append(*member, iDepth, strOut)) {
      return szReason;
    }
  }
  strOut += jObject.empty() ? "{}" : "}";
  return nullptr;
}

const char* append(const Json::Value& jValue, int iDepth, std::string& strOut) {
  switch (jValue.type()) {
    case Json::nullValue:
      strOut += "null";
      return nullptr;
    case Json::booleanValue:
      strOut += jValue.asBool() ? "true" : "false";
      return nullptr;
    case Json::intValue:
      appendNumber(jValue.asLargestInt(), strOut);
      return nullptr;
    case Json::uintValue:
      appendNumber(jValue.asLargestUInt(), strOut);
      return nullptr;
    case Json::realValue:
      if (!std::isfinite(jValue.asDouble())) {
        return "it holds a number that is not finite";
      }
      appendReal(jValue.asDouble(), strOut);
      return nullptr;
    case Json::stringValue:
      appendString(stringOf(jValue), strOut);
      return nullptr;
    case Json::arrayValue:
      return iDepth == MAX_DEPTH ? TOO_DEEP : appendArray(jValue, iDepth + 1, strOut);
    case Json::objectValue:
      return iDepth == MAX_DEPTH ? TOO_DEEP : appendObject(jValue, iDepth + 1, strOut);
  }
  return "it has no JSON type";
}

// Copies a value, with lasting names and texts where they exist.
Json::Value leanCopy(const Json::Value& jValue) {
  if (jValue.isString()) {
    const char* szLasting = lastingText(stringOf(jValue));
    return szLasting == nullptr ? jValue : Json::Value(Json::StaticString(szLasting));
  }
  if (!jValue.isObject()) {
    return jValue;
  }
  Json::Value jCopy(Json::objectValue);
  for (auto member = jValue.begin(); member != jValue.end(); ++member) {
    const std::string strName = member.name();
    const char* szLasting = lastingText(strName);
    (szLasting == nullptr ? jCopy[strName] : jCopy[Json::StaticString(szLasting)]) = leanCopy(*member);
  }
  return jCopy;
}

Json::CharReader* newReader() {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["strictRoot"] = false;
  builder["collectComments"] = false;
  return builder.newCharReader();
}

}  // namespace

const char* writeJson(const Json::Value& jValue, std::string& strOut) {
  strOut.clear();
  return append(jValue, 0, strOut);
}

JsonReader::JsonReader() : m_pReader(newReader()) {}

JsonReader::~JsonReader() = default;

bool JsonReader::read(std::string_view strText, Json::Value& jOut) {
  for (Known& known : m_known) {
    if (known.strText == strText && !strText.empty()) {
      if (!known.blLean) {
        known.jValue = leanCopy(known.jValue);
        known.blLean = true;
      }
      jOut.copyPayload(known.jValue);
      return true;
    }
  }
  if (!parse(strText, jOut)) {
    return false;
  }
  if (strText.size() <= MAX_KNOWN_TEXT) {
    keep(strText, jOut);
  }
  return true;
}

bool JsonReader::parse(std::string_view strText, Json::Value& jOut) {
  try {
    return m_pReader->parse(strText.data(), strText.data() + strText.size(), &jOut, nullptr);
  } catch (const Json::Exception&) {
    return false;
  }
}

void JsonReader::keep(std::string_view strText, const Json::Value& jValue) {
  m_known[m_iOldest] = {std::string(strText), jValue, false};
  m_iOldest = (m_iOldest + 1) % m_known.size();
}

}  // namespace record_store
