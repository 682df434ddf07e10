/// \file folder_entry.h
/// Whether a user can enter a folder.

#pragma once

#include <string>
#include <sys/types.h>

namespace Host {

/// Looks whether a user can enter a folder now, in a child process with the rights of this user: only so do the lists
/// of access rights and the rules of network file systems count, too. \return an errno; 0 when the user can, or it
/// cannot be found out.
int folderEntryError(uid_t uid, const std::string& strFolder);

}  // namespace Host
