/// \file backup_target.h
/// The file of a backup.

#pragma once

#include <functional>
#include <string>

#include "common/support/unique_fd.h"

namespace Host {

/// The place of a backup. A file that exists is replaced, so it must be a regular file, and none of the server's. A
/// link is refused: its creator would choose the file that is replaced.
class BackupTarget {
public:
  /// Checks the place and opens its folder: the file is written there even if the folder is replaced meanwhile.
  /// \throw Failure that names the file when it cannot be written.
  explicit BackupTarget(const std::string& strFile);

  /// Writes a file that only root can read, completely or not at all.
  /// \param fnWrite  writes the content to a descriptor; may throw.
  /// \throw Failure that names it.
  void write(const std::function<void(int)>& fnWrite) const;

  /// Opens the regular file that would be replaced. \return not open when there is none.
  UniqueFd openPresent() const;

private:
  std::string m_strFile;
  UniqueFd m_folder;
};

}  // namespace Host
