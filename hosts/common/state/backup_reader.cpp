#include "backup_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "eorvascheduler.h"

#include "common/store/open_file_database.h"
#include "common/support/failure.h"
#include "common/support/files.h"

namespace Host {

namespace {

constexpr char EMPTY_STORE[] = "an empty store";

/// Limits that no backup of ours reaches.
constexpr int CB_MAX_VALUE = 64 << 20;
constexpr int CB_MAX_SQL = 64 << 10;
constexpr int MAX_COLUMNS = 100;

/// Reading a row of a backup, checks included, takes SQLite about three steps a byte.
constexpr std::uint64_t STEPS_A_BYTE = 32;
constexpr std::uint64_t STEPS_AT_LEAST = 1'000'000;
constexpr int STEPS_A_CALL = 1000;

/// In this query, SQLite compares texts only. A row with another text may not be what its type says.
constexpr char FIND_FOREIGN[] =
    "select name from sqlite_schema where type not in ('table', 'index') or (type = 'table' and rootpage < 2) or "
    "(sql is not null and sql not like 'create table%' and sql not like 'create index%' and "
    "sql not like 'create unique index%') limit 1";
constexpr char LIST_TABLES[] =
    "select name from sqlite_schema where type = 'table' and name not like 'sqlite\\_%' escape '\\'";

UniqueFd openBackup(const std::string& strFile) {
  UniqueFd fd(::open(strFile.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!fd.isOpen()) {
    const std::string strWhy = errno == ELOOP ? "it is a link; name its target" : std::string(std::strerror(errno));
    throw Failure(fmt::format("cannot open {}: {}", strFile, strWhy));
  }
  return fd;
}

std::uint64_t sizeOf(const UniqueFd& fd, const std::string& strFile) {
  struct stat status{};
  if (fstat(fd.get(), &status) < 0 || !S_ISREG(status.st_mode)) {
    throw Failure(fmt::format("cannot open {}: it is not a regular file", strFile));
  }
  return dataSize(fd.get(), static_cast<std::uint64_t>(status.st_size));
}

/// It could not be restored, and restoring the rest would lose it.
[[noreturn]] void failForeign(const std::string& strName, const std::string& strWhat) {
  throw Failure(fmt::format("{} has \"{}\", which is not of eorva; nothing is done", strName, strWhat));
}

std::vector<std::string> columnsOf(const Database& database, const std::string& strTable, const std::string& strName) {
  std::vector<std::string> vecColumns;
  const Statement statement = prepare(database, "select name, hidden from pragma_table_xinfo(?)", strName);
  sqlite3_bind_text(statement.get(), 1, strTable.c_str(), -1, SQLITE_STATIC);
  while (nextRow(database, statement, strName)) {
    if (sqlite3_column_int(statement.get(), 1) != 0) {
      failForeign(strName, fmt::format("{}.{}", strTable, columnText(statement, 0)));
    }
    vecColumns.push_back(columnText(statement, 0));
  }
  return vecColumns;
}

TableColumns plainTables(const Database& database, const std::string& strName) {
  const Statement foreign = prepare(database, FIND_FOREIGN, strName);
  if (nextRow(database, foreign, strName)) {
    failForeign(strName, columnText(foreign, 0));
  }
  TableColumns tables;
  const Statement names = prepare(database, LIST_TABLES, strName);
  while (nextRow(database, names, strName)) {
    const std::string strTable = columnText(names, 0);
    tables[strTable] = columnsOf(database, strTable, strName);
  }
  return tables;
}

bool contains(const std::vector<std::string>& vecNames, const std::string& strName) {
  return std::find(vecNames.begin(), vecNames.end(), strName) != vecNames.end();
}

}  // namespace

std::string storeSql() {
  std::string strSql;
  if (loadSqlCreate(strSql) < 0) {
    throw Failure(fmt::format("cannot create {}: {}", EMPTY_STORE, SEE_LOG));
  }
  return strSql;
}

Database emptyStore(const std::string& strPageSize) {
  Database database = temporaryDatabase();
  execute(database, fmt::format("pragma page_size = {}", strPageSize).c_str(), EMPTY_STORE);
  execute(database, storeSql().c_str(), EMPTY_STORE);
  return database;
}

TableColumns requireTables(const Database& database, const Database& emptyStore, const std::string& strName) {
  TableColumns known = plainTables(emptyStore, EMPTY_STORE);
  known[FILES_OF_BACKUP] = {"path", "content"};
  known[OWNERS_OF_BACKUP] = {"uid", "name"};
  TableColumns tables = plainTables(database, strName);
  for (const char* szTable : {"task", "task_result"}) {
    if (tables.count(szTable) == 0) {
      throw Failure(fmt::format("{} is no backup: it lacks the table \"{}\"", strName, szTable));
    }
  }
  for (const auto& [strTable, vecColumns] : tables) {
    if (known.count(strTable) == 0) {
      failForeign(strName, strTable);
    }
    for (const std::string& strColumn : vecColumns) {
      if (!contains(known[strTable], strColumn)) {
        failForeign(strName, fmt::format("{}.{}", strTable, strColumn));
      }
    }
  }
  return tables;
}

BackupReader::BackupReader(const std::string& strFile) : BackupReader(openBackup(strFile), strFile) {}

BackupReader::BackupReader(UniqueFd fd, const std::string& strFile)
    : m_strFile(strFile),
      m_fd(std::move(fd)),
      m_cbFile(sizeOf(m_fd, strFile)),
      m_cStepsLeft(STEPS_AT_LEAST + m_cbFile * STEPS_A_BYTE),
      m_database(openFileDatabase(m_fd.get(), Access::READ, strFile)) {
  restrict();
  const Database empty = emptyStore();
  checkVersion(empty);
  m_tables = requireTables(m_database, empty, m_strFile);
  checkPages();
}

int BackupReader::countSteps(void* pReader) {
  std::uint64_t& cLeft = static_cast<BackupReader*>(pReader)->m_cStepsLeft;
  cLeft -= std::min<std::uint64_t>(cLeft, STEPS_A_CALL);
  return cLeft == 0 ? 1 : 0;
}

void BackupReader::restrict() {
  sqlite3* const pDb = m_database.get();
  sqlite3_db_config(pDb, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  for (const int iForbidden : {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_TRIGGER,
                               SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION}) {
    sqlite3_db_config(pDb, iForbidden, 0, nullptr);
  }
  sqlite3_limit(pDb, SQLITE_LIMIT_LENGTH, CB_MAX_VALUE);
  sqlite3_limit(pDb, SQLITE_LIMIT_SQL_LENGTH, CB_MAX_SQL);
  sqlite3_limit(pDb, SQLITE_LIMIT_COLUMN, MAX_COLUMNS);
  sqlite3_limit(pDb, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_progress_handler(pDb, STEPS_A_CALL, &countSteps, this);
  // The constraints in the file are not ours; each row is checked again when our tables take it.
  execute(m_database, "pragma cell_size_check = on; pragma ignore_check_constraints = on", m_strFile);
}

bool BackupReader::next(const Statement& statement) {
  if (!nextRow(m_database, statement, m_strFile)) {
    return false;
  }
  for (int i = 0; i < sqlite3_column_count(statement.get()); ++i) {
    if (const int iType = sqlite3_column_type(statement.get(), i); iType == SQLITE_TEXT || iType == SQLITE_BLOB) {
      m_cbRead += static_cast<std::uint64_t>(sqlite3_column_bytes(statement.get(), i));
    }
  }
  // Texts in UTF-16 may grow by half.
  if (m_cbRead > 2 * m_cbFile) {
    throw Failure(fmt::format("{} is damaged: its rows are larger than the file", m_strFile));
  }
  return true;
}

void BackupReader::checkVersion(const Database& empty) {
  const std::string strNewest = firstText(empty, "pragma user_version", m_strFile);
  m_iSchema = std::stoi(firstText(m_database, "pragma user_version", m_strFile));
  if (m_iSchema < 1 || m_iSchema > std::stoi(strNewest)) {
    throw Failure(
        fmt::format("{} has schema version {}; this eorva reads versions 1 to {}", m_strFile, m_iSchema, strNewest));
  }
}

void BackupReader::checkPages() const {
  if (firstText(m_database, "pragma quick_check(1)", m_strFile) != "ok") {
    throw Failure(fmt::format("{} is damaged and cannot be restored", m_strFile));
  }
}

}  // namespace Host
