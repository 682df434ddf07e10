#include "event_log/log_catalogue.h"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <json/reader.h>
#include <memory>

#include "mail/mail_template.h"
#include "settings/folder_files.h"
#include "settings/regular_file.h"
#include "support/log.h"

namespace orva {
namespace {

constexpr const char* CATALOGUES_PATH = "/usr/orva/share/log";
constexpr std::size_t CB_TEXT_MAX = 4096;

void readCatalogue(const std::string& strPath, Json::Value& jCatalogue) {
  std::string strContent;
  if (const int iError = readRegularFile(strPath, strContent); iError != 0) {
    logError("cannot read log catalogue %s: %s", strPath.c_str(), strerror(iError));
    return;
  }
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
  Json::Value jRead;
  std::string strFault;
  if (!pReader->parse(strContent.data(), strContent.data() + strContent.size(), &jRead, &strFault) ||
      !jRead.isObject()) {
    logError("log catalogue %s is malformed: %s", strPath.c_str(), strFault.c_str());
    return;
  }
  for (const std::string& strCode : jRead.getMemberNames()) {
    jCatalogue[strCode] = jRead[strCode];
  }
}

std::string textMember(const Json::Value& jEvent, const char* szName) {
  return jEvent.isObject() && jEvent[szName].isString() ? jEvent[szName].asString() : std::string();
}

std::string plainEventText(unsigned int uCode, const EventArguments& arguments) {
  std::string strText = "Event " + eventCodeText(uCode);
  for (const std::string& strArgument : arguments) {
    strText += strArgument.empty() ? "" : " [" + strArgument + "]";
  }
  return strText;
}

std::map<std::string, std::string> fieldsOf(const Json::Value& jEvent, const EventArguments& arguments,
                                            const std::string& strBy) {
  std::map<std::string, std::string> mapFields;
  const Json::Value jNames = jEvent.isObject() && jEvent["fields"].isObject() ? jEvent["fields"] : Json::Value();
  const auto add = [&](const std::string& strKey, const std::string& strValue) {
    if (const std::string strField = textMember(jNames, strKey.c_str()); !strField.empty() && !strValue.empty()) {
      mapFields[strField] = strValue;
    }
  };
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    add(std::to_string(i + 1), arguments.at(i));
  }
  add("by", strBy);
  return mapFields;
}

}  // namespace

std::string eventCodeText(unsigned int uCode) {
  return fmt::format("0x{:08X}", uCode);
}

Json::Value loadLogCatalogue() {
  Json::Value jCatalogue(Json::objectValue);
  for (const std::string& strName : filesInFolder(CATALOGUES_PATH, ".json")) {
    readCatalogue(std::string(CATALOGUES_PATH) + "/" + strName, jCatalogue);
  }
  return jCatalogue;
}

EventText eventText(const Json::Value& jCatalogue, unsigned int uCode, const EventArguments& arguments,
                    const std::string& strBy) {
  const Json::Value& jEvent = jCatalogue[eventCodeText(uCode)];
  const std::string strText = textMember(jEvent, "enu");
  if (strText.empty()) {
    return {plainEventText(uCode, arguments), ""};
  }
  PlaceholderValues mapValue;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    mapValue[fmt::format("%{}", i + 1)] = arguments.at(i);
  }
  return {filled(strText, mapValue, CB_TEXT_MAX), textMember(jEvent, "message_id"), fieldsOf(jEvent, arguments, strBy)};
}

}  // namespace orva
