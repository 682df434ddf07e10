#include "shares/share_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include "settings/regular_file.h"
#include "settings/section_file.h"
#include "settings/text_line.h"
#include "support/mount_table.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr const char* DEFINITIONS_PATH = "/etc/orva/shares.conf";

// Tells whether a path is absolute and has no "." and "..", so that the path in the file is the path in use.
bool isPlainPath(std::string_view strPath) {
  if (strPath.empty() || strPath.front() != '/' || std::any_of(strPath.begin(), strPath.end(), isControl)) {
    return false;
  }
  const std::string strClosed = std::string(strPath) + "/";
  return strClosed.find("/../") == std::string::npos && strClosed.find("/./") == std::string::npos;
}

std::string withoutFinalSlash(std::string_view strPath) {
  while (strPath.size() > 1 && strPath.back() == '/') {
    strPath.remove_suffix(1);
  }
  return std::string(strPath);
}

// Reads an entry. \return its error; empty on success.
std::string takeEntry(const SectionEntry& entry, Share& share) {
  const std::string strValue(withoutQuotes(entry.strValue));
  std::string* const pTarget = entry.strKey == "path"     ? &share.strPath
                               : entry.strKey == "volume" ? &share.strVolume
                                                          : nullptr;
  if (!pTarget) {
    return "unknown key \"" + entry.strKey + "\"";
  }
  if (!pTarget->empty()) {
    return "\"" + entry.strKey + "\" occurs twice";
  }
  if (!isPlainPath(strValue)) {
    return "\"" + strValue + "\" is not an absolute path without \".\" and \"..\"";
  }
  if (!isPlainForShell(strValue)) {
    return "\"" + strValue + "\" has a character that is special to a shell";
  }
  *pTarget = withoutFinalSlash(strValue);
  return "";
}

// Reads a definition. \return its error, with the line in iLine; empty on success.
std::string takeSection(const Section& section, Share& share, int& iLine) {
  share.strName = section.strName;
  iLine = section.iLine;
  if (!isShareName(section.strName)) {
    return "\"" + section.strName + "\" cannot be the name of a share";
  }
  for (const SectionEntry& entry : section.vecEntry) {
    if (const std::string strFault = takeEntry(entry, share); !strFault.empty()) {
      iLine = entry.iLine;
      return strFault;
    }
  }
  if (share.strPath.empty()) {
    return "\"path\" is missing";
  }
  if (!share.strVolume.empty() && !isWithin(share.strPath, share.strVolume)) {
    return "the path is not on the volume";
  }
  return "";
}

}  // namespace

std::vector<Share> parseShares(const std::string& strFile, std::string_view strText, const ShareFaultSink& onFault) {
  const auto report = [&](int iLine, const std::string& strFault) {
    onFault(fmt::format("{}:{}: {}", strFile, iLine, repairedUtf8(strFault)));
  };
  std::vector<Share> vecShare;
  for (const Section& section : parseSections(strText, report)) {
    Share share;
    int iLine = 0;
    std::string strFault = takeSection(section, share, iLine);
    const bool blKnown = std::any_of(vecShare.begin(), vecShare.end(),
                                     [&share](const Share& other) { return other.strName == share.strName; });
    if (strFault.empty() && blKnown) {
      strFault = "is already defined";
    }
    if (strFault.empty()) {
      vecShare.push_back(std::move(share));
    } else {
      report(iLine, "share \"" + section.strName + "\": " + strFault);
    }
  }
  return vecShare;
}

std::vector<Share> fileShares(const ShareFaultSink& onFault) {
  std::string strText;
  const int iError = readRegularFile(DEFINITIONS_PATH, strText);
  if (iError != 0 && iError != ENOENT) {
    onFault(fmt::format("cannot read shares from {}: {}", DEFINITIONS_PATH, strerror(iError)));
  }
  return parseShares(DEFINITIONS_PATH, strText, onFault);
}

}  // namespace orva
