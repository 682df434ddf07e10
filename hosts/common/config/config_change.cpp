#include "config_change.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"

namespace Host {

namespace {

constexpr char CHANGE[] = "change";
constexpr char FILES[] = "files";
constexpr char DRAFT_SUFFIX[] = ".new";
constexpr mode_t MODE_READABLE = 0644;

std::string folderOf(const std::string& strPath) {
  return std::filesystem::path(strPath).parent_path().string();
}

/// A file that cannot be read has another text.
bool hasText(const std::string& strPath, const std::string& strText) {
  try {
    return readTextFile(strPath) == strText;
  } catch (const Failure&) {
    return false;
  }
}

Json::Value readNote() {
  try {
    return readJson(readTextFile(CHANGE_NOTE_PATH).value_or("{}"));
  } catch (const Failure& error) {
    throw Failure(fmt::format("cannot read {}: {}", CHANGE_NOTE_PATH, error.what()));
  }
}

void removeFile(const std::string& strPath) {
  if (unlink(strPath.c_str()) < 0 && errno != ENOENT) {
    throw Failure(fmt::format("cannot remove {}: {}", strPath, std::strerror(errno)));
  }
}

void removeNote() {
  removeFile(CHANGE_NOTE_PATH);
  syncFolder(STORE_FOLDER);
}

void writeNote(std::int64_t iChange, const std::map<std::string, std::string>& mapDrafts) {
  Json::Value jNote(Json::objectValue);
  jNote[CHANGE] = static_cast<Json::Int64>(iChange);
  for (const auto& [strDraft, strPath] : mapDrafts) {
    jNote[FILES][strDraft] = strPath;
  }
  replaceFile(CHANGE_NOTE_PATH, jNote.toStyledString(), 0600);
}

/// Replaces the files whose new file still exists. A rename needs no room.
void replaceFiles(const std::map<std::string, std::string>& mapDrafts) {
  std::set<std::string> setFolders;
  for (const auto& [strDraft, strPath] : mapDrafts) {
    if (rename(strDraft.c_str(), strPath.c_str()) < 0 && errno != ENOENT) {
      throw Failure(fmt::format("cannot replace {}: {}", strPath, std::strerror(errno)));
    }
    setFolders.insert(folderOf(strPath));
  }
  for (const std::string& strFolder : setFolders) {
    syncFolder(strFolder);
  }
}

}  // namespace

ConfigChange::ConfigChange(const ConfigLock&, const FileTexts& texts) {
  if (isConfigChangeNoted()) {
    throw Failure(fmt::format("an earlier change of the configuration is not finished; see {}", CHANGE_NOTE_PATH));
  }
  try {
    for (const auto& [strPath, strText] : texts) {
      if (hasText(strPath, strText)) {
        continue;
      }
      const std::string strTarget = linkTarget(strPath);
      const std::string strDraft = strTarget + DRAFT_SUFFIX;
      unlink(strDraft.c_str());
      m_mapDrafts[strDraft] = strTarget;
      writeNewFile(strDraft, strTarget, strText, MODE_READABLE);
    }
  } catch (...) {
    removeDrafts();
    throw;
  }
}

ConfigChange::~ConfigChange() {
  if (m_blDecided) {
    return;
  }
  if (m_blNoted) {
    unlink(CHANGE_NOTE_PATH);
  }
  removeDrafts();
}

void ConfigChange::removeDrafts() noexcept {
  for (const auto& [strDraft, strPath] : m_mapDrafts) {
    unlink(strDraft.c_str());
  }
}

void ConfigChange::announce(std::int64_t iChange) {
  if (!isEmpty()) {
    m_blNoted = true;
    writeNote(iChange, m_mapDrafts);
  }
}

void ConfigChange::finish() {
  if (isEmpty()) {
    return;
  }
  if (!m_blNoted) {
    announce(0);
  }
  m_blDecided = true;
  finishConfigChange({0, m_mapDrafts});
}

bool isConfigChangeNoted() {
  return access(CHANGE_NOTE_PATH, F_OK) == 0;
}

UnfinishedChange readConfigChange(const ConfigLock&) {
  UnfinishedChange change;
  const Json::Value jNote = readNote();
  change.iChange = intOf(jNote, CHANGE);
  const Json::Value& jFiles = memberOf(jNote, FILES);
  for (const std::string& strDraft : jFiles.isObject() ? jFiles.getMemberNames() : std::vector<std::string>()) {
    change.mapDrafts[strDraft] = textOf(jFiles, strDraft.c_str());
  }
  return change;
}

void finishConfigChange(const UnfinishedChange& change) {
  replaceFiles(change.mapDrafts);
  removeNote();
}

void undoConfigChange(const UnfinishedChange& change) {
  for (const auto& [strDraft, strPath] : change.mapDrafts) {
    removeFile(strDraft);
  }
  removeNote();
}

}  // namespace Host
