#include "json_utf8.h"

#include <algorithm>
#include <string_view>

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

}  // namespace Host
