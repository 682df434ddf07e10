#include "json_utf8.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

#include "base64.h"
#include "utf8.h"
#include "yaml_writer.h"

namespace Host {

namespace {

/// Also with a NUL in it.
std::string textIn(const Json::Value& jText) {
  const char* pBegin = nullptr;
  const char* pEnd = nullptr;
  return jText.getString(&pBegin, &pEnd) ? std::string(pBegin, pEnd) : std::string();
}

std::string replaced(std::string_view strText) {
  constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";
  std::string strOut;
  while (!strText.empty()) {
    const std::string_view strBefore = strText;
    if (takeCodePoint(strText)) {
      strOut += strBefore.substr(0, strBefore.size() - strText.size());
    } else {
      strOut += REPLACEMENT;
      strText.remove_prefix(1);
    }
  }
  return strOut;
}

void addMember(const std::string& strName, const Json::Value& jValue, Json::Value& jOut) {
  const std::string strKey = replaced(strName);
  jOut[strKey] = inUtf8(jValue);
  if (jValue.isString() && !isAllUtf8(jValue)) {
    jOut[strKey + BASE64_SUFFIX] = toBase64(textIn(jValue));
  }
}

/// Code points beyond U+FFFF take two escapes.
std::string escapeOf(char32_t code) {
  constexpr char32_t BEYOND = 0x10000;
  const auto u = static_cast<unsigned>(code);
  return code < BEYOND ? fmt::format("\\u{:04x}", u)
                       : fmt::format("\\u{:04x}\\u{:04x}", 0xD800 + ((u - BEYOND) >> 10), 0xDC00 + (u & 0x3FF));
}

}  // namespace

bool isAllUtf8(const Json::Value& jValue) {
  if (jValue.isString()) {
    return isUtf8(textIn(jValue));
  }
  if (jValue.isObject()) {
    const std::vector<std::string> vecNames = jValue.getMemberNames();
    return std::all_of(vecNames.begin(), vecNames.end(),
                       [&](const std::string& strName) { return isUtf8(strName) && isAllUtf8(jValue[strName]); });
  }
  return !jValue.isArray() || std::all_of(jValue.begin(), jValue.end(), &isAllUtf8);
}

Json::Value inUtf8(const Json::Value& jValue) {
  if (jValue.isString()) {
    return replaced(textIn(jValue));
  }
  if (jValue.isObject()) {
    Json::Value jOut(Json::objectValue);
    for (const std::string& strName : jValue.getMemberNames()) {
      addMember(strName, jValue[strName], jOut);
    }
    return jOut;
  }
  if (jValue.isArray()) {
    Json::Value jOut(Json::arrayValue);
    for (const Json::Value& jItem : jValue) {
      jOut.append(inUtf8(jItem));
    }
    return jOut;
  }
  return jValue;
}

std::string withoutControls(std::string_view strJson) {
  if (std::none_of(strJson.begin(), strJson.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x7F; })) {
    return std::string(strJson);
  }
  std::string strOut;
  while (!strJson.empty()) {
    const std::string_view strBefore = strJson;
    const std::optional<char32_t> code = takeCodePoint(strJson);
    if (code && *code >= 0x7F && isControl(*code)) {
      strOut += escapeOf(*code);
      continue;
    }
    if (!code) {
      strJson.remove_prefix(1);
    }
    strOut += strBefore.substr(0, strBefore.size() - strJson.size());
  }
  return strOut;
}

}  // namespace Host
