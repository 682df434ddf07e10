#include "event_log_texts.h"

#include <array>
#include <filesystem>
#include <set>

#include "orva_platform.h"

#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"

namespace Host {

namespace {

constexpr char CATALOGUE_FOLDER[] = "/usr/orva/share/log";
constexpr char ENGLISH[] = "enu";

std::string filledIn(const std::string& strText, const Json::Value& jArgs) {
  std::string strFilled;
  for (std::size_t i = 0; i < strText.size(); ++i) {
    const bool blArgument =
        strText[i] == '%' && i + 1 < strText.size() && strText[i + 1] >= '1' && strText[i + 1] <= '4';
    if (!blArgument) {
      strFilled += strText[i];
      continue;
    }
    const auto iArg = static_cast<Json::ArrayIndex>(strText[++i] - '1');
    strFilled += jArgs.isArray() && iArg < jArgs.size() && jArgs[iArg].isString() ? jArgs[iArg].asString() : "";
  }
  return strFilled;
}

}  // namespace

std::string serverLanguage() {
  std::array<char, 32> szLanguage{};
  const int iFound =
      KLIBCFileGetKeyValue(SERVER_SETTINGS_PATH, "maillang", szLanguage.data(), static_cast<int>(szLanguage.size()));
  return iFound > 0 ? szLanguage.data() : "enu";
}

EventLogTexts::EventLogTexts() : m_jCatalogue(Json::objectValue) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(CATALOGUE_FOLDER, error)) {
    const Json::Value jFile =
        entry.path().extension() == ".json" ? readJsonOrNull(readTextFile(entry.path()).value_or("")) : Json::Value();
    for (const std::string& strCode : jFile.isObject() ? jFile.getMemberNames() : std::vector<std::string>()) {
      m_jCatalogue[strCode] = jFile[strCode];
    }
  }
}

std::string EventLogTexts::textOf(const Json::Value& jEvent, const std::string& strLanguage) const {
  const Json::Value& jTexts = memberOf(m_jCatalogue, Host::textOf(jEvent, "code").c_str());
  std::string strText = Host::textOf(jTexts, strLanguage.c_str());
  strText = strText.empty() ? Host::textOf(jTexts, ENGLISH) : strText;
  return filledIn(strText.empty() ? "%1 %2 %3 %4" : strText, memberOf(jEvent, "args"));
}

std::vector<std::string> EventLogTexts::languages() const {
  std::set<std::string> setLanguages;
  for (const Json::Value& jTexts : m_jCatalogue) {
    for (const std::string& strMember : jTexts.isObject() ? jTexts.getMemberNames() : std::vector<std::string>()) {
      if (strMember != "message_id") {
        setLanguages.insert(strMember);
      }
    }
  }
  return {setLanguages.begin(), setLanguages.end()};
}

}  // namespace Host
