#include "event_log.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <set>
#include <string_view>
#include <utility>

#include "orva_platform.h"

#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"

namespace Host {

namespace {

constexpr char EVENT_FILE[] = "/var/log/orva/event.jsonl";

/// Older files are numbered, from 1, the newest, to this.
constexpr int FILES_KEPT = 5;

/// Opens a file by its number; nothing when there is none.
UniqueFd openFile(int iAge) {
  const std::string strPath = iAge == 0 ? EVENT_FILE : fmt::format("{}.{}", EVENT_FILE, iAge);
  UniqueFd fd(open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd.isOpen() && errno != ENOENT) {
    throw Failure(fmt::format("cannot open {}: {}", strPath, std::strerror(errno)));
  }
  return fd;
}

bool isEntry(const Json::Value& jEntry) {
  return jEntry.isObject() && memberOf(jEntry, "time").isInt64() && memberOf(jEntry, "code").isString();
}

/// Opens files from the newest to the oldest. A file that is renamed meanwhile is opened twice, and none is
/// missed.
bool isAmong(const std::vector<FileFollower>& vecFiles, const UniqueFd& fd) {
  return std::any_of(vecFiles.begin(), vecFiles.end(), [&](const FileFollower& file) { return file.isSame(fd); });
}

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
      if (strMember != "message_id" && jTexts[strMember].isString()) {
        setLanguages.insert(strMember);
      }
    }
  }
  return {setLanguages.begin(), setLanguages.end()};
}

/// An incomplete last line is read the next time.
std::vector<Json::Value> EventLog::takeEntries(FileFollower& file) {
  std::vector<Json::Value> vecEntries;
  file.takeNew([&](std::string_view strPiece) {
    std::size_t iStart = 0;
    for (std::size_t iEnd = 0; (iEnd = strPiece.find('\n', iStart)) != std::string_view::npos; iStart = iEnd + 1) {
      Json::Value jEntry = readJsonOrNull(std::string(strPiece.substr(iStart, iEnd - iStart)));
      if (isEntry(jEntry)) {
        vecEntries.push_back(std::move(jEntry));
      } else {
        ++m_cUnreadable;
      }
    }
    return iStart;
  });
  return vecEntries;
}

bool EventLog::isTooOld(const Json::Value& jEntry) const {
  return m_query.since && jEntry["time"].asInt64() < static_cast<Json::Int64>(*m_query.since);
}

void EventLog::addTexts(std::vector<Json::Value>& vecEntries) const {
  for (Json::Value& jEntry : vecEntries) {
    jEntry["text"] = m_texts.textOf(jEntry, m_query.strLanguage);
  }
}

std::vector<Json::Value> EventLog::read() {
  std::vector<Json::Value> vecEntries;
  std::vector<FileFollower> vecFiles;
  bool blEnough = false;
  for (int iAge = 0; iAge <= FILES_KEPT && !blEnough; ++iAge) {
    UniqueFd fd = openFile(iAge);
    if (!fd.isOpen() || isAmong(vecFiles, fd)) {
      continue;
    }
    std::vector<Json::Value> vecOlder = takeEntries(vecFiles.emplace_back(std::move(fd), EVENT_FILE));
    const bool blOld = std::erase_if(vecOlder, [&](const Json::Value& jEntry) { return isTooOld(jEntry); }) > 0;
    vecEntries.insert(vecEntries.begin(), vecOlder.begin(), vecOlder.end());
    blEnough = blOld || (m_query.cLines != 0 && vecEntries.size() >= m_query.cLines);
  }
  if (m_query.cLines != 0 && vecEntries.size() > m_query.cLines) {
    vecEntries.erase(vecEntries.begin(), vecEntries.end() - static_cast<std::ptrdiff_t>(m_query.cLines));
  }
  if (!vecFiles.empty()) {
    m_file = std::move(vecFiles.front());
  }
  addTexts(vecEntries);
  return vecEntries;
}

/// The files after the last one that was read, the oldest first.
std::vector<FileFollower> EventLog::filesSince() const {
  std::vector<FileFollower> vecFiles;
  UniqueFd newest = openFile(0);
  if (!newest.isOpen() || (m_file && m_file->isSame(newest))) {
    return vecFiles;
  }
  vecFiles.emplace_back(std::move(newest), EVENT_FILE);
  bool blFound = !m_file;
  for (int iAge = 1; iAge <= FILES_KEPT; ++iAge) {
    UniqueFd fd = openFile(iAge);
    if (fd.isOpen() && m_file && m_file->isSame(fd)) {
      blFound = true;
      break;
    }
    if (fd.isOpen() && !isAmong(vecFiles, fd)) {
      vecFiles.emplace_back(std::move(fd), EVENT_FILE);
    }
  }
  // If the last file was removed, newer files cannot be distinguished from older ones.
  if (!blFound) {
    vecFiles.erase(vecFiles.begin() + 1, vecFiles.end());
  }
  std::reverse(vecFiles.begin(), vecFiles.end());
  return vecFiles;
}

std::vector<Json::Value> EventLog::readNew() {
  // Listed first: a renamed file gets no more lines.
  std::vector<FileFollower> vecFiles = filesSince();
  std::vector<Json::Value> vecEntries = m_file ? takeEntries(*m_file) : std::vector<Json::Value>();
  for (FileFollower& file : vecFiles) {
    const std::vector<Json::Value> vecMore = takeEntries(file);
    vecEntries.insert(vecEntries.end(), vecMore.begin(), vecMore.end());
  }
  if (!vecFiles.empty()) {
    m_file = std::move(vecFiles.back());
  }
  std::erase_if(vecEntries, [&](const Json::Value& jEntry) { return isTooOld(jEntry); });
  addTexts(vecEntries);
  return vecEntries;
}

}  // namespace Host
