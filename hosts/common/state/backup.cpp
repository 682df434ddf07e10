#include "backup.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "backup_owners.h"
#include "backup_target.h"
#include "common/coordination/config_lock.h"
#include "common/store/database.h"
#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/support/unique_fd.h"

namespace Host {

namespace {

constexpr mode_t MODE_CONFIG = 0644;

/// The files of the configuration: a restore writes no others.
constexpr std::array<const char*, 2> CONFIG_FILES = {CONFIG_PATH, SETTINGS_PATH};

void addFile(const Database& database, const char* szPath, const std::string& strText, const std::string& strBackup) {
  const Statement statement = prepare(database, "insert into backup_file (path, content) values (?, ?)", strBackup);
  sqlite3_bind_text(statement.get(), 1, szPath, -1, SQLITE_STATIC);
  sqlite3_bind_blob(statement.get(), 2, strText.data(), static_cast<int>(strText.size()), SQLITE_STATIC);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    throw Failure(fmt::format("cannot write {}: {}", strBackup, sqlite3_errmsg(database.get())));
  }
}

/// The tables that only a backup has. An interrupted restore of an old version may have left them in the store.
void dropOwnTables(const Database& database, const std::string& strName) {
  execute(database, "drop table if exists backup_file; drop table if exists backup_owner", strName);
}

/// \throw Failure when the store is damaged: the backup that exists may be better.
void requireIntact(const Database& copy, const std::string& strFile) {
  const std::string strProblem = firstText(copy, "pragma integrity_check", DATABASE_PATH);
  if (strProblem != "ok") {
    // The first line names the database.
    const std::size_t iLine = strProblem.starts_with("***") ? strProblem.find('\n') + 1 : 0;
    throw Failure(fmt::format("the store {} is damaged ({}); {} is not written", DATABASE_PATH,
                              strProblem.substr(iLine, strProblem.find('\n', iLine) - iLine), strFile),
                  {Hint::RESTORE_BACKUP});
  }
}

Database makeBackup(const std::string& strFile) {
  Database backup = copyOfStore();
  requireIntact(backup, strFile);
  dropOwnTables(backup, strFile);
  execute(backup, "create table backup_file (path text primary key not null, content blob not null) strict", strFile);
  for (const char* szPath : CONFIG_FILES) {
    if (const std::optional<std::string> strText = readTextFile(szPath)) {
      addFile(backup, szPath, *strText, strFile);
    }
  }
  addOwners(backup, strFile);
  return backup;
}

/// Reads the file once: others may change it between the check and the restore.
std::string readBackup(const std::string& strFile) {
  const UniqueFd fd(::open(strFile.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status{};
  if (!fd.isOpen() || fstat(fd.get(), &status) < 0) {
    const std::string strWhy = errno == ELOOP ? "it is a link; name its target" : std::string(std::strerror(errno));
    throw Failure(fmt::format("cannot open {}: {}", strFile, strWhy));
  }
  if (!S_ISREG(status.st_mode)) {
    throw Failure(fmt::format("cannot open {}: it is not a regular file", strFile));
  }
  return readAll(fd.get(), strFile, static_cast<std::size_t>(status.st_size));
}

/// The files of the configuration that a backup holds.
std::map<std::string, std::string> filesOf(const Database& database, const std::string& strPath) {
  std::map<std::string, std::string> mapFiles;
  const Statement statement = prepare(database, "select path, content from backup_file", strPath);
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    const std::string strName = columnText(statement, 0);
    const auto* const pContent = static_cast<const char*>(sqlite3_column_blob(statement.get(), 1));
    const auto cb = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), 1));
    if (std::find(CONFIG_FILES.begin(), CONFIG_FILES.end(), strName) != CONFIG_FILES.end()) {
      mapFiles[strName] = cb == 0 ? std::string() : std::string(pContent, cb);
    }
  }
  return mapFiles;
}

void checkBackup(const Database& backup, const std::string& strFile) {
  if (firstText(backup, "pragma integrity_check", strFile) != "ok") {
    throw Failure(fmt::format("{} is damaged and cannot be restored", strFile));
  }
  const Database store = openStore();
  const std::string strVersion = firstText(backup, "pragma user_version", strFile);
  const std::string strHere = firstText(store, "pragma user_version", DATABASE_PATH);
  if (strVersion == "0" || std::stoi(strVersion) > std::stoi(strHere)) {
    throw Failure(
        fmt::format("{} has schema version {}; this eorva reads versions 1 to {}", strFile, strVersion, strHere));
  }
}

void checkOwners(const Database& backup, const std::string& strFile, std::vector<std::string>& vecWarnings) {
  const std::optional<std::vector<std::string>> vecOther = otherOwners(backup, strFile);
  if (!vecOther) {
    vecWarnings.push_back(fmt::format(
        "{} has no names of task owners; check the owners of the tasks, because their user ids are kept", strFile));
  } else if (!vecOther->empty()) {
    throw Failure(fmt::format("cannot restore {}: user ids of task owners belong to other users here\n  {}", strFile,
                              fmt::join(*vecOther, "\n  ")),
                  {Hint::KEEP_OWNER_IDS});
  }
}

}  // namespace

void writeBackup(const std::string& strFile) {
  {
    // Throws when there is no store.
    const OpenStore session;
  }
  const BackupTarget target(strFile);
  target.write(contentOf(makeBackup(strFile), strFile));
}

std::vector<std::string> restoreBackup(const std::string& strFile, Owners owners,
                                       std::vector<std::string>& vecWarnings) {
  const Database backup = databaseOf(readBackup(strFile), strFile);
  checkBackup(backup, strFile);
  const std::map<std::string, std::string> mapFiles = filesOf(backup, strFile);
  if (owners == Owners::THE_SAME) {
    checkOwners(backup, strFile, vecWarnings);
  }
  // Before the copy: so an interrupted restore does not leave them in the store.
  dropOwnTables(backup, strFile);
  const ConfigLock lock;
  const DeferredSignals deferred;
  copyDatabase(backup, openStore(), DATABASE_PATH);
  std::vector<std::string> vecRestored;
  for (const auto& [strPath, strText] : mapFiles) {
    replaceFile(strPath, strText, MODE_CONFIG);
    vecRestored.push_back(strPath);
  }
  return vecRestored;
}

}  // namespace Host
