#include "settings/server_settings.h"

#include <algorithm>
#include <unistd.h>

#include "settings/key_value.h"
#include "settings/regular_file.h"
#include "settings/text_line.h"

namespace orva {
namespace {

constexpr const char* SETTINGS_PATH = "/etc/orvainfo.conf";
constexpr const char* MAIL_NAME_PATH = "/etc/mailname";

bool isLowerAlnum(char ch) {
  return (ch >= 'a' && ch <= 'z') || (ch >= '0' && ch <= '9');
}

bool isHostName(std::string_view strName) {
  return !strName.empty() && strName.size() <= 253 && strName.front() != '.' && strName.front() != '-' &&
         strName.back() != '.' && strName.find("..") == std::string_view::npos &&
         std::all_of(strName.begin(), strName.end(),
                     [](char ch) { return isLowerAlnum(static_cast<char>(ch | 0x20)) || ch == '.' || ch == '-'; });
}

}  // namespace

std::string serverSetting(std::string_view strKey, std::string_view strDefault) {
  std::string strContent;
  readRegularFile(SETTINGS_PATH, strContent);
  const std::string strValue = findKeyValue(strContent, strKey).value_or("");
  return strValue.empty() ? std::string(strDefault) : strValue;
}

std::string serverLanguage() {
  const std::string strLanguage = serverSetting("maillang", "enu");
  const bool blName = strLanguage.size() <= 8 && std::all_of(strLanguage.begin(), strLanguage.end(), isLowerAlnum);
  return blName ? strLanguage : "enu";
}

std::string serverHostName() {
  char szHost[256] = "";
  gethostname(szHost, sizeof szHost - 1);
  return isHostName(szHost) ? szHost : "localhost";
}

std::string serverMailName() {
  std::string strContent;
  readRegularFile(MAIL_NAME_PATH, strContent);
  std::string_view strRest = strContent;
  std::string strMailName(trimmed(takeLine(strRest)));
  return isHostName(strMailName) ? strMailName : serverHostName();
}

}  // namespace orva
