/// \file kept_copy.h
/// A copy of the database before a migration.

#pragma once

#include <string>

struct sqlite3;

namespace record_store {

/// A copy of a database, taken before its tables are changed.
///
/// It is beside the database and has the database's name followed by ".schema-N", where N is its schema version. If a
/// copy of this name exists, ".2", ".3" and so on follow: a copy is never overwritten. Only its owner can read it. It
/// gets its name when it is complete and on the disk.
///
/// The destructor removes the copy unless it was confirmed. Otherwise every attempt of a failing migration would leave
/// another copy.
class KeptCopy {
public:
  /// Writes the copy. The caller has the write lock, so nothing changes between the copy and the migration. A database
  /// in memory gets no copy.
  KeptCopy(sqlite3* pDb, int iSchema);

  /// Keeps the copy from now on.
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
