#include "event_log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <string_view>
#include <utility>

#include "common/support/failure.h"
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

}  // namespace

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
