// Texts of one language: files NAME.strings in its folder, in UTF-8, read in the order of their names.
//
//     # comment
//     [section]
//     key = "text with \"quotes\", \n line breaks, \t tabs and \\ backslashes"
//     other = text as it stands, without the blanks around it
//
// If a key occurs again, the later text wins. A line that cannot be read is logged and ignored.

#include <cstring>
#include <optional>
#include <string_view>

#include "orva_platform.h"

#include "settings/folder_files.h"
#include "settings/regular_file.h"
#include "settings/section_file.h"
#include "support/log.h"
#include "texts/utf8.h"

namespace orva {
namespace {

std::optional<char> escaped(char ch) {
  switch (ch) {
    case '"':
    case '\\':
      return ch;
    case 'n':
      return '\n';
    case 't':
      return '\t';
    default:
      return std::nullopt;
  }
}

// The text between quotes, with its escapes decoded, or the text itself without quotes. Nothing when the final quote is
// missing or an escape is wrong.
std::optional<std::string> plainText(const std::string& strValue) {
  if (strValue.empty() || strValue.front() != '"') {
    return strValue;
  }
  std::string strText;
  for (std::size_t i = 1; i < strValue.size(); ++i) {
    if (strValue[i] == '"') {
      return i + 1 == strValue.size() ? std::optional(strText) : std::nullopt;
    }
    if (strValue[i] != '\\') {
      strText += strValue[i];
      continue;
    }
    const auto ch = ++i < strValue.size() ? escaped(strValue[i]) : std::nullopt;
    if (!ch) {
      return std::nullopt;
    }
    strText += *ch;
  }
  return std::nullopt;
}

void readTexts(const std::string& strPath, Json::Value& jTexts) {
  const auto report = [&strPath](int iLine, const std::string& strFault) {
    logError("%s:%d: %s", strPath.c_str(), iLine, repairedUtf8(strFault).c_str());
  };
  std::string strContent;
  if (const int iError = readRegularFile(strPath, strContent); iError != 0) {
    logError("cannot read texts %s: %s", strPath.c_str(), strerror(iError));
    return;
  }
  for (const Section& section : parseSections(strContent, report)) {
    for (const SectionEntry& entry : section.vecEntry) {
      const auto text = plainText(entry.strValue);
      if (!text) {
        report(entry.iLine, "the text of \"" + entry.strKey + "\" is not quoted well");
      } else if (!isUtf8(section.strName) || !isUtf8(entry.strKey) || !isUtf8(*text)) {
        report(entry.iLine, "the text of \"" + entry.strKey + "\" is not UTF-8");
      } else {
        jTexts[section.strName][entry.strKey] = *text;
      }
    }
  }
}

}  // namespace
}  // namespace orva

Json::Value ORVA::UIX::LocalizedStringParser::ParseTexts(const std::string& strDirectory) {
  Json::Value jTexts(Json::objectValue);
  for (const std::string& strName : orva::filesInFolder(strDirectory, ".strings")) {
    orva::readTexts(std::string(strDirectory).append("/").append(strName), jTexts);
  }
  return jTexts;
}
