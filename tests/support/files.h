/// \file files.h
/// Files and folders of a test.

#pragma once

#include <string>
#include <sys/types.h>
#include <utility>

namespace OrvaTest {

/// Writes a whole file and creates the folders above it; throws when that fails.
void writeFile(const std::string& strPath, const std::string& strContent, mode_t mode = 0644);

/// Reads a whole file; throws when that fails.
std::string readFile(const std::string& strPath);

/// True when something has that name, a dangling link included.
bool fileExists(const std::string& strPath);

/// The permission bits of a file, set-id and sticky bits included; throws when there is none.
mode_t fileMode(const std::string& strPath);

/// Owner and group of a file; throws when there is none.
std::pair<uid_t, gid_t> fileOwner(const std::string& strPath);

/// A folder of its own below /tmp, removed with everything in it.
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

/// Installs the table definitions, the creation SQL and the event catalogue of the source tree, as far as it has
/// them, below /usr/orva/share/eorvascheduler.
void installShareFiles();

}  // namespace OrvaTest
