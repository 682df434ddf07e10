#include "mail/mail_template.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "settings/regular_file.h"
#include "settings/text_line.h"
#include "support/log.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr const char* TEMPLATES_PATH = "/usr/orva/share/mail/";
constexpr const char* LANGUAGE_FALLBACK = "enu";

// Tells whether a name cannot lead to another folder.
bool isTemplateName(std::string_view strName) {
  return !strName.empty() && strName.size() <= 128 && std::all_of(strName.begin(), strName.end(), [](char ch) {
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_' || ch == '-';
  });
}

// Finds the longest placeholder at the beginning of a text; the end of the map when there is none.
PlaceholderValues::const_iterator placeholderAt(std::string_view strText, const PlaceholderValues& mapValue) {
  auto itBest = mapValue.end();
  for (auto it = mapValue.begin(); it != mapValue.end(); ++it) {
    if (strText.starts_with(it->first) && (itBest == mapValue.end() || it->first.size() > itBest->first.size())) {
      itBest = it;
    }
  }
  return itBest;
}

}  // namespace

std::optional<MailTemplate> parseMailTemplate(std::string_view strText) {
  MailTemplate mail;
  while (!strText.empty()) {
    const std::string_view strLine = trimmed(takeLine(strText));
    if (strLine.empty()) {
      break;
    }
    const std::size_t uColon = strLine.find(':');
    const std::string_view strName = strLine.substr(0, uColon);
    if (uColon == std::string_view::npos || (strName != "Subject" && strName != "Cut")) {
      return std::nullopt;
    }
    (strName == "Subject" ? mail.strSubject : mail.strCut) = trimmed(strLine.substr(uColon + 1));
  }
  mail.strBody = strText;
  const bool blWhole = !mail.strSubject.empty() && isUtf8(mail.strSubject + mail.strCut + mail.strBody);
  return blWhole ? std::optional(mail) : std::nullopt;
}

std::optional<MailTemplate> loadMailTemplate(std::string_view strName, const std::string& strLanguage) {
  if (!isTemplateName(strName)) {
    logError("\"%s\" cannot be the name of a mail template", std::string(strName).c_str());
    return std::nullopt;
  }
  const auto pathIn = [&strName](const std::string& strFolder) {
    return TEMPLATES_PATH + strFolder + "/" + std::string(strName) + ".mail";
  };
  std::string strPath = pathIn(strLanguage);
  std::string strText;
  int iError = readRegularFile(strPath, strText);
  if (iError == ENOENT && strLanguage != LANGUAGE_FALLBACK) {
    strPath = pathIn(LANGUAGE_FALLBACK);
    iError = readRegularFile(strPath, strText);
  }
  if (iError != 0) {
    logError("cannot read mail template %s: %s", strPath.c_str(), strerror(iError));
    return std::nullopt;
  }
  auto mail = parseMailTemplate(strText);
  if (!mail) {
    logError("mail template %s is malformed: it must be UTF-8 and begin with a Subject line", strPath.c_str());
  }
  return mail;
}

std::string filled(std::string_view strText, const PlaceholderValues& mapValue, std::size_t cbMax) {
  std::string strResult;
  while (!strText.empty() && strResult.size() <= cbMax) {
    const auto it = placeholderAt(strText, mapValue);
    if (it == mapValue.end()) {
      strResult += strText.front();
      strText.remove_prefix(1);
    } else {
      strResult.append(it->second, 0, cbMax + 1);
      strText.remove_prefix(it->first.size());
    }
  }
  return strResult;
}

}  // namespace orva
