#include "texts/server_text.h"

#include "orva_platform.h"

#include "settings/server_settings.h"

namespace orva {
namespace {

constexpr const char* TEXTS_PATH = "/usr/orva/orvaman/webman/texts/";

std::optional<std::string> textIn(const std::string& strLanguage, const std::string& strSection,
                                  const std::string& strKey) {
  const Json::Value jTexts = ORVA::UIX::LocalizedStringParser::ParseTexts(TEXTS_PATH + strLanguage);
  const Json::Value& jSection = jTexts[strSection];
  const bool blKnown = jSection.isObject() && jSection[strKey].isString();
  return blKnown ? std::optional(jSection[strKey].asString()) : std::nullopt;
}

}  // namespace

std::optional<std::string> serverText(const std::string& strSection, const std::string& strKey) {
  const auto text = textIn(serverLanguage(), strSection, strKey);
  return text ? text : textIn("enu", strSection, strKey);
}

}  // namespace orva
