#include "backup_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <optional>
#include <sqlite3.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "backup_target.h"
#include "failure.h"
#include "installed_paths.h"
#include "replace_file.h"
#include "session.h"
#include "unique_fd.h"

namespace Host {

namespace {

constexpr mode_t MODE_FILE = 0600;
constexpr mode_t MODE_CONFIG = 0644;

/// What is kept beside the store; nothing else is ever put back, whatever stands in a file.
constexpr std::array<const char*, 2> CONFIG_FILES = {CONFIG_PATH, SETTINGS_PATH};

struct CloseDatabase {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* pStatement) const { sqlite3_finalize(pStatement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Database openDatabase(const std::string& strPath, int iFlags) {
  sqlite3* pDb = nullptr;
  const int iCode = sqlite3_open_v2(strPath.c_str(), &pDb, iFlags, nullptr);
  Database database(pDb);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot open {}: {}", strPath, sqlite3_errstr(iCode)));
  }
  return database;
}

void execute(const Database& database, const char* szSql, const std::string& strPath) {
  if (sqlite3_exec(database.get(), szSql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot use {}: {}", strPath, sqlite3_errmsg(database.get())));
  }
}

Statement prepare(const Database& database, const char* szSql, const std::string& strPath) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(database.get(), szSql, -1, &pStatement, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("{} is no backup: {}", strPath, sqlite3_errmsg(database.get())));
  }
  return Statement(pStatement);
}

/// Copies a whole database in one go, so that what comes out is one state; waits for writers.
void copyDatabase(const Database& from, const Database& to, const std::string& strPath) {
  using namespace std::chrono_literals;
  sqlite3_backup* const pBackup = sqlite3_backup_init(to.get(), "main", from.get(), "main");
  if (pBackup == nullptr) {
    throw Failure(fmt::format("cannot copy to {}: {}", strPath, sqlite3_errmsg(to.get())));
  }
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  int iCode = SQLITE_OK;
  while (((iCode = sqlite3_backup_step(pBackup, -1)) == SQLITE_BUSY || iCode == SQLITE_LOCKED) &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(50ms);
  }
  sqlite3_backup_finish(pBackup);
  if (iCode != SQLITE_DONE) {
    throw Failure(fmt::format("cannot copy to {}: {}", strPath, sqlite3_errstr(iCode)));
  }
}

void addFile(const Database& database, const char* szPath, const std::string& strText, const std::string& strBackup) {
  const Statement statement = prepare(database, "insert into backup_file (path, content) values (?, ?)", strBackup);
  sqlite3_bind_text(statement.get(), 1, szPath, -1, SQLITE_STATIC);
  sqlite3_bind_blob(statement.get(), 2, strText.data(), static_cast<int>(strText.size()), SQLITE_STATIC);
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    throw Failure(fmt::format("cannot write {}: {}", strBackup, sqlite3_errmsg(database.get())));
  }
}

void fillBackup(const std::string& strDraft) {
  const Database from = openDatabase(DATABASE_PATH, SQLITE_OPEN_READWRITE);
  const Database to = openDatabase(strDraft, SQLITE_OPEN_READWRITE);
  copyDatabase(from, to, strDraft);
  // One file, without a journal beside it.
  execute(to, "pragma journal_mode = delete", strDraft);
  execute(to, "create table backup_file (path text primary key not null, content blob not null) strict", strDraft);
  for (const char* szPath : CONFIG_FILES) {
    if (const std::optional<std::string> strText = readTextFile(szPath)) {
      addFile(to, szPath, *strText, strDraft);
    }
  }
}

/// A file beside its place; gone again unless it was put there.
class DraftName {
public:
  explicit DraftName(const std::string& strTarget) : m_strPath(strTarget + ".XXXXXX") {
    const UniqueFd fd(mkostemp(m_strPath.data(), O_CLOEXEC));
    if (!fd.isOpen() || fchmod(fd.get(), MODE_FILE) < 0) {
      throw Failure(fmt::format("cannot create a file beside {}: {}", strTarget, std::strerror(errno)));
    }
  }
  ~DraftName() {
    if (!m_strPath.empty()) {
      unlink(m_strPath.c_str());
    }
  }
  DraftName(const DraftName&) = delete;
  DraftName& operator=(const DraftName&) = delete;

  const std::string& path() const { return m_strPath; }

  void put(const std::string& strTarget) {
    const UniqueFd fd(open(m_strPath.c_str(), O_RDONLY | O_CLOEXEC));
    if (!fd.isOpen() || fsync(fd.get()) < 0 || std::rename(m_strPath.c_str(), strTarget.c_str()) < 0) {
      throw Failure(fmt::format("cannot write {}: {}", strTarget, std::strerror(errno)));
    }
    m_strPath.clear();
  }

private:
  std::string m_strPath;
};

std::string firstText(const Database& database, const char* szSql, const std::string& strPath) {
  const Statement statement = prepare(database, szSql, strPath);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) {
    throw Failure(fmt::format("{} is no backup: {}", strPath, sqlite3_errmsg(database.get())));
  }
  const unsigned char* const pText = sqlite3_column_text(statement.get(), 0);
  return pText != nullptr ? reinterpret_cast<const char*>(pText) : "";
}

/// The files of the configuration that a backup holds.
std::map<std::string, std::string> filesOf(const Database& database, const std::string& strPath) {
  std::map<std::string, std::string> mapFiles;
  const Statement statement = prepare(database, "select path, content from backup_file", strPath);
  while (sqlite3_step(statement.get()) == SQLITE_ROW) {
    const std::string strName = reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 0));
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
    throw Failure(fmt::format("{} is damaged: nothing is restored from it", strFile));
  }
  const Database store = openDatabase(DATABASE_PATH, SQLITE_OPEN_READWRITE);
  const std::string strVersion = firstText(backup, "pragma user_version", strFile);
  const std::string strHere = firstText(store, "pragma user_version", DATABASE_PATH);
  if (strVersion == "0" || std::stoi(strVersion) > std::stoi(strHere)) {
    throw Failure(fmt::format("{} has the schema version {}, and this version of eorva knows those from 1 to {}",
                              strFile, strVersion, strHere));
  }
}

}  // namespace

void writeBackup(const std::string& strFile) {
  if (const std::string strWhy = whyNotBackupTarget(strFile); !strWhy.empty()) {
    throw Failure(strWhy);
  }
  DraftName draft(strFile);
  fillBackup(draft.path());
  draft.put(strFile);
}

std::vector<std::string> restoreBackup(const std::string& strFile) {
  const Database backup = openDatabase(strFile, SQLITE_OPEN_READONLY);
  checkBackup(backup, strFile);
  const std::map<std::string, std::string> mapFiles = filesOf(backup, strFile);
  {
    const Database store = openDatabase(DATABASE_PATH, SQLITE_OPEN_READWRITE);
    copyDatabase(backup, store, DATABASE_PATH);
    execute(store, "drop table backup_file", DATABASE_PATH);
  }
  std::vector<std::string> vecRestored;
  for (const auto& [strPath, strText] : mapFiles) {
    replaceFile(strPath, strText, MODE_CONFIG);
    vecRestored.push_back(strPath);
  }
  return vecRestored;
}

}  // namespace Host
