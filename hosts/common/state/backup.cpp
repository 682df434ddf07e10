#include "backup.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>
#include <string_view>
#include <unistd.h>

#include "backup_owners.h"
#include "backup_reader.h"
#include "backup_target.h"
#include "common/events/own_events.h"
#include "common/store/open_file_database.h"
#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"
#include "joint_change.h"
#include "restored_store.h"

namespace Host {

namespace {

/// The files of the configuration: a restore writes no others.
constexpr std::array<const char*, 3> CONFIG_FILES = {CONFIG_PATH, OWN_EVENTS_PATH, SETTINGS_PATH};

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

/// Indexes are not compared with their tables: a restore makes new ones.
/// \throw Failure when the store is damaged: the backup that exists may be better.
void requireIntact(const Database& copy, const std::string& strFile) {
  const std::string strProblem = firstText(copy, "pragma quick_check", DATABASE_PATH);
  if (strProblem != "ok") {
    // The first line names the database.
    const std::size_t iLine = strProblem.starts_with("***") ? strProblem.find('\n') + 1 : 0;
    throw Failure(fmt::format("the store {} is damaged ({}); {} is not written", DATABASE_PATH,
                              strProblem.substr(iLine, strProblem.find('\n', iLine) - iLine), strFile),
                  {Hint::RESTORE_BACKUP});
  }
}

bool hasTasks(const Database& database, const std::string& strName) {
  return firstText(database, "select exists (select 1 from task)", strName) == "1";
}

/// Tells whether a file begins as every database of SQLite does. One that cannot be read may do so.
bool mayBeDatabase(const UniqueFd& fd) {
  constexpr std::string_view HEADER("SQLite format 3\0", 16);
  std::array<char, HEADER.size()> begin{};
  const ssize_t cb = pread(fd.get(), begin.data(), begin.size(), 0);
  return cb < 0 || std::string_view(begin.data(), static_cast<std::size_t>(cb)) == HEADER;
}

/// \throw Failure when the file that would be replaced is a backup with tasks, or one that cannot be read here.
void keepBackupWithTasks(const BackupTarget& target, const std::string& strFile) {
  UniqueFd fd = target.openPresent();
  if (!fd.isOpen() || !mayBeDatabase(fd)) {
    return;
  }
  bool blTasks = false;
  try {
    const BackupReader present(std::move(fd), strFile);
    blTasks = hasTasks(present.database(), strFile);
  } catch (const Failure& error) {
    throw Failure(fmt::format("the store has no tasks, but the backup {} may have some; it is not replaced: {}",
                              strFile, error.what()),
                  {Hint::REPLACE_BACKUP});
  }
  if (blTasks) {
    throw Failure(fmt::format("the store has no tasks, but the backup {} has; it is not replaced", strFile),
                  {Hint::REPLACE_BACKUP});
  }
}

void addFiles(const Database& backup, const std::string& strFile) {
  execute(backup, "create table backup_file (path text primary key not null, content blob not null) strict", strFile);
  for (const char* szPath : CONFIG_FILES) {
    if (const std::optional<std::string> strText = readTextFile(szPath)) {
      addFile(backup, szPath, *strText, strFile);
    } else if (szPath == std::string_view(OWN_EVENTS_PATH)) {
      // A restore removes the events that were added later.
      addFile(backup, szPath, ownEventsText({}), strFile);
    }
  }
}

void makeBackup(const BackupTarget& target, int fd, const std::string& strFile, EmptyBackup empty) {
  copyDatabase(openStore(), openFileDatabase(fd, Access::WRITE, strFile),
               fmt::format("{} to {}", DATABASE_PATH, strFile));
  // The copy has the format of its source; SQLite takes note of it when it opens a file.
  const Database backup = openFileDatabase(fd, Access::WRITE, strFile);
  requireIntact(backup, strFile);
  if (empty == EmptyBackup::REFUSED && !hasTasks(backup, strFile)) {
    keepBackupWithTasks(target, strFile);
  }
  requireTables(backup, emptyStore(), DATABASE_PATH);
  execute(backup, "begin", strFile);
  dropOwnTables(backup, strFile);
  addFiles(backup, strFile);
  addOwners(backup, strFile);
  execute(backup, "commit", strFile);
}

std::string whyNotOwnEvents(const std::string& strText) {
  try {
    ownEventsFrom(strText);
  } catch (const Failure& error) {
    return error.what();
  }
  return {};
}

/// \throw Failure unless a file of the configuration can be read when it is restored.
void requireReadable(const std::string& strPath, const std::string& strText, const std::string& strBackup) {
  std::string strWhy;
  if (strText.size() > CB_MAX_FILE) {
    strWhy = "it is too large";
  } else if (strPath == CONFIG_PATH) {
    const Json::Value jConfig = readJsonOrNull(strText);
    const Json::Value& jSection = memberOf(jConfig, CONFIG_TYPE);
    if (!jConfig.isObject() || !(jSection.isObject() || jSection.isNull())) {
      strWhy = "it is no JSON object";
    }
  } else if (strPath == OWN_EVENTS_PATH) {
    strWhy = whyNotOwnEvents(strText);
  }
  if (!strWhy.empty()) {
    throw Failure(fmt::format("cannot restore {} from {}: {}", strPath, strBackup, strWhy));
  }
}

/// The files of the configuration that a backup holds.
FileTexts filesOf(BackupReader& backup) {
  FileTexts texts;
  if (backup.tables().count(FILES_OF_BACKUP) == 0) {
    return texts;
  }
  const Statement statement =
      prepare(backup.database(), "select path, content from backup_file not indexed", backup.name());
  while (backup.next(statement)) {
    const std::string strPath = columnText(statement, 0);
    if (std::find(CONFIG_FILES.begin(), CONFIG_FILES.end(), strPath) == CONFIG_FILES.end()) {
      continue;
    }
    const auto* const pContent = static_cast<const char*>(sqlite3_column_blob(statement.get(), 1));
    const auto cb = static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), 1));
    texts[strPath] = cb == 0 ? std::string() : std::string(pContent, cb);
    requireReadable(strPath, texts[strPath], backup.name());
  }
  return texts;
}

void checkOwners(BackupReader& backup, std::vector<std::string>& vecWarnings) {
  const std::string& strFile = backup.name();
  const std::optional<std::vector<std::string>> vecOther = otherOwners(backup);
  if (!vecOther) {
    vecWarnings.push_back(fmt::format(
        "{} has no names of task owners; check the owners of the tasks, because their user ids are kept", strFile));
  } else if (!vecOther->empty()) {
    throw Failure(fmt::format("cannot restore {}: user ids of task owners belong to other users here\n  {}", strFile,
                              fmt::join(*vecOther, "\n  ")),
                  {Hint::KEEP_OWNER_IDS});
  }
}

/// An empty file has no journal mode yet. Waits while another process has the whole store for itself, as it does for a
/// moment when the last connection is closed.
void useWal(const Database& store) {
  using namespace std::chrono_literals;
  int iCode = SQLITE_OK;
  tryUntil(10s, 50ms, [&] {
    iCode = sqlite3_exec(store.get(), "pragma journal_mode = wal", nullptr, nullptr, nullptr);
    return iCode != SQLITE_BUSY;
  });
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot use {}: {}", DATABASE_PATH, sqlite3_errmsg(store.get())));
  }
}

}  // namespace

void writeBackup(const std::string& strFile, EmptyBackup empty) {
  {
    // Throws when there is no store.
    const OpenStore session;
  }
  const BackupTarget target(strFile);
  target.write([&](int fd) { makeBackup(target, fd, strFile, empty); });
}

ReadBackup readBackup(const std::string& strFile, Owners owners) {
  BackupReader backup(strFile);
  ReadBackup read;
  read.files = filesOf(backup);
  if (owners == Owners::THE_SAME) {
    checkOwners(backup, read.vecWarnings);
  }
  read.store = storeFrom(backup, read.vecWarnings);
  // With --owners-as-numbered, the ids are meant, whoever has them.
  nameOwners(read.store, owners == Owners::AS_NUMBERED ? "true" : "owner_name is null", backup.name());
  return read;
}

std::vector<std::string> restoreBackup(const ReadBackup& backup) {
  const ConfigLock lock;
  const DeferredSignals deferred;
  const Database store = openStore();
  useWal(store);
  ConfigChange files(lock, backup.files);
  announceChange(files, store, backup.store);
  copyDatabase(backup.store, store, DATABASE_PATH);
  finishChange(files);
  std::vector<std::string> vecRestored;
  for (const auto& [strPath, strText] : backup.files) {
    vecRestored.push_back(strPath);
  }
  return vecRestored;
}

}  // namespace Host
