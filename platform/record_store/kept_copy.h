/// \file kept_copy.h
/// The database as it was, kept beside it.

#pragma once

#include <string>

struct sqlite3;

namespace record_store {

/// A copy of a database, taken before its tables are changed.
///
/// It stands beside the database under the database's name with ".schema-N" behind it, N being the version of its
/// schema; with ".2", ".3" and so on behind that when the name is taken: a copy is never overwritten. Only its owner
/// can read it. It has its name only when it is complete and on the disk.
///
/// The copy is removed again with this object unless it was confirmed: a migration that failed, and left the database
/// as it was, must not leave one more copy at every attempt.
class KeptCopy {
public:
  /// Writes the copy. The caller holds the write lock, so that nothing changes between the copy and the migration.
  /// A database in memory has none.
  KeptCopy(sqlite3* pDb, int iSchema);

  /// Keeps the copy from now on, whatever comes.
  void confirm() { m_file.release(); }

  /// The copy's path; empty when there is none.
  const std::string& path() const { return m_strPath; }

private:
  /// Deletes a file when it goes out of scope.
  class OwnFile {
  public:
    OwnFile() = default;
    ~OwnFile();
    OwnFile(const OwnFile&) = delete;
    OwnFile& operator=(const OwnFile&) = delete;

    void take(const std::string& strPath) { m_strPath = strPath; }
    void release() { m_strPath.clear(); }

  private:
    std::string m_strPath;
  };

  OwnFile m_file;
  std::string m_strPath;
};

}  // namespace record_store
