// The text of an exit type in the server's mail language.

#include "orva_platform.h"

#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

std::string mailLanguage() {
  char szLanguage[32] = "";
  if (0 > KLIBCFileGetKeyValue(SERVER_SETTINGS_PATH, "maillang", szLanguage, sizeof(szLanguage))) {
    LOG_ERROR("cannot get mail lang, use enu");
    return "enu";
  }
  return szLanguage;
}

// Deliberately, one text explains every signal that stopped or killed the script.
const char* textKey(const std::string& strExitType) {
  if ("normal" == strExitType) {
    LOG_DEBUG("normal case");
    return "normal";
  }
  for (const char* szOther : {"by_signal", "stop", "continue"}) {
    if (szOther == strExitType) {
      LOG_DEBUG("%s", szOther);
      return "by_signal";
    }
  }
  return nullptr;
}

int exitTypeString(const std::string& strExitType, std::string& strText) {
  FAIL_IF(strExitType.empty());
  const Json::Value jText =
      ORVA::UIX::LocalizedStringParser::ParseTexts(std::string(WEB_ROOT) + TEXTS_FOLDER + mailLanguage());
  FAIL_IF(jText.empty());
  const char* szKey = textKey(strExitType);
  if (!szKey) {
    LOG_FAILED_WITH("unkonow exit type=%s", strExitType.c_str());
    return -1;
  }
  const Json::Value& jSection = memberOf(jText, "schedule");
  FAIL_IF_AS(!isObjectOrNull(jSection), "!jText[\"schedule\"].isObject()");
  const Json::Value& jFound = memberOf(jSection, szKey);
  FAIL_IF_AS(!isTextLike(jFound), "!jText[\"schedule\"][strKey].isString()");
  strText = jFound.asString();
  return 0;
}

}  // namespace

int getExitTypeString(std::string& strExitType, std::string& strText) {
  return GUARDED([&] { return exitTypeString(strExitType, strText); });
}
