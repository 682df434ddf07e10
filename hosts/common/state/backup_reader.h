/// \file backup_reader.h
/// Reads a backup as data. The file may come from anybody: a trigger or a view in it must never run, and it must not
/// keep the reader busy for longer than its size explains.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/store/database.h"
#include "common/support/unique_fd.h"

namespace Host {

/// The tables that only a backup has.
inline constexpr char FILES_OF_BACKUP[] = "backup_file";
inline constexpr char OWNERS_OF_BACKUP[] = "backup_owner";

/// Columns by table.
using TableColumns = std::map<std::string, std::vector<std::string>>;

/// The SQL that creates the tables of a store, and migrates the rows of an older version. \throw Failure
std::string storeSql();

/// A new store without rows, known to this process only.
/// \param strPageSize  bytes; 0 for SQLite's own choice.
Database emptyStore(const std::string& strPageSize = "0");

/// The tables of a store or a backup and their columns, without SQLite's own.
/// \throw Failure that names the database when it has a trigger, a view, or anything else that a store does not have.
TableColumns requireTables(const Database& database, const Database& emptyStore, const std::string& strName);

/// An open backup. Everything is read within a limit that follows from the size of the file.
class BackupReader {
public:
  /// Opens the file once: others may exchange it between the check and the restore. A link is refused.
  /// \throw Failure that names the file when it is damaged, or no backup that this version can read.
  explicit BackupReader(const std::string& strFile);

  /// \param fd  the open file.
  BackupReader(UniqueFd fd, const std::string& strFile);

  BackupReader(const BackupReader&) = delete;
  BackupReader& operator=(const BackupReader&) = delete;

  const Database& database() const { return m_database; }
  const std::string& name() const { return m_strFile; }
  const TableColumns& tables() const { return m_tables; }
  int schema() const { return m_iSchema; }

  /// Moves to the next row of a statement, and counts the bytes in it. \return false behind the last row.
  bool next(const Statement& statement);

private:
  void restrict();
  void checkVersion(const Database& empty);
  void checkPages() const;
  static int countSteps(void* pReader);

  std::string m_strFile;
  UniqueFd m_fd;
  std::uint64_t m_cbFile;
  std::uint64_t m_cbRead = 0;
  std::uint64_t m_cStepsLeft;
  Database m_database;
  TableColumns m_tables;
  int m_iSchema = 0;
};

}  // namespace Host
