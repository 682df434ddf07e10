#include <algorithm>

#include "orva_platform.h"

#include "notify/notifier.h"
#include "settings/server_settings.h"

namespace orva {
namespace {

constexpr const char* TEXTS_PATH = "/usr/orva/orvaman/webman/texts/";
constexpr const char* SECTION = "notify";

std::optional<std::string> textIn(const std::string& strLanguage, const std::string& strKey) {
  const Json::Value jTexts = ORVA::UIX::LocalizedStringParser::ParseTexts(TEXTS_PATH + strLanguage);
  const Json::Value& jSection = jTexts[SECTION];
  const bool blKnown = jSection.isObject() && jSection[strKey].isString();
  return blKnown ? std::optional(jSection[strKey].asString()) : std::nullopt;
}

}  // namespace

std::optional<std::string> notificationText(const std::string& strKey) {
  const auto text = textIn(serverLanguage(), strKey);
  return text ? text : textIn("enu", strKey);
}

bool isPlainName(const std::string& strName) {
  return !strName.empty() && strName.size() <= 128 && strName.front() != '.' && strName.front() != '-' &&
         std::all_of(strName.begin(), strName.end(), [](char ch) {
           return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_' ||
                  ch == '-' || ch == '.';
         });
}

}  // namespace orva
