/// \file backup_target.h
/// Where a backup may be put.

#pragma once

#include <string>
#include <string_view>

#include "common/support/unique_fd.h"

namespace Host {

/// The place of a backup. What is there would be replaced, so it must be a plain file, and none that the server works
/// with; a link is not followed, for whoever made it would decide what is replaced.
class BackupTarget {
public:
  /// Looks at the place before anything is written, and holds its folder: what is written goes there, even when
  /// somebody puts another folder, or a link, in its place meanwhile.
  /// \throw Failure that names the file when nothing may be put there.
  explicit BackupTarget(const std::string& strFile);

  /// Puts a file there that only root can read; whole, or not at all. \throw Failure that names it.
  void write(std::string_view strContent) const;

private:
  std::string m_strFile;
  UniqueFd m_folder;
};

}  // namespace Host
