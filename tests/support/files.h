/// \file files.h
/// Files and folders of a test.

#pragma once

#include <string>
#include <sys/types.h>
#include <utility>

namespace OrvaTest {

/// Writes a whole file and creates the folders above it; throws on failure.
void writeFile(const std::string& strPath, const std::string& strContent, mode_t mode = 0644);

/// Reads a whole file; throws on failure.
std::string readFile(const std::string& strPath);

/// True when something has that name, including a dangling link.
bool fileExists(const std::string& strPath);

/// The permission bits of a file, including set-id and sticky bits; throws when there is no file.
mode_t fileMode(const std::string& strPath);

/// Owner and group of a file; throws when there is no file.
std::pair<uid_t, gid_t> fileOwner(const std::string& strPath);

/// A lease of this process on a file. Others who open the file wait until the lease ends.
class Lease {
public:
  explicit Lease(const std::string& strPath);
  ~Lease();
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;

private:
  int m_iFd;
};

/// A folder below /tmp; the destructor removes it with its content.
class TempDir {
public:
  explicit TempDir(mode_t mode = 0755);
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& path() const { return m_strPath; }
  /// The path of a file in it.
  std::string path(const std::string& strName) const { return m_strPath + "/" + strName; }

private:
  std::string m_strPath;
};

/// The source tree that the tests were built from.
std::string sourceDir();

/// Installs the table definitions, the creation SQL and the event catalogue of the source tree, if they exist, below
/// /usr/orva/share/eorvascheduler.
void installShareFiles();

}  // namespace OrvaTest
