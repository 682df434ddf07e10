/// \file backup_target.h
/// Where a backup may be put.

#pragma once

#include <string>

namespace Host {

/// Looks at the place of a backup before anything is written. What is there would be replaced, so it must be a plain
/// file, and none that the server works with; a link is not followed, for whoever made it would decide what is
/// replaced.
/// \return why nothing may be put there, with the path in it; empty when it may.
std::string whyNotBackupTarget(const std::string& strFile);

}  // namespace Host
