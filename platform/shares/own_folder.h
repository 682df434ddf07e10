/// \file own_folder.h
/// Folders in which the platform keeps something of its own.

#pragma once

#include <sys/types.h>

#include "orva_platform.h"

namespace orva {

/// Makes a folder with a mode, and its missing parents open to readers.
/// \return false when that fails; `errno` says why.
inline bool makeOwnFolder(const char* szPath, mode_t mode) {
  constexpr uid_t UID_KEEP = static_cast<uid_t>(-1);
  constexpr gid_t GID_KEEP = static_cast<gid_t>(-1);
  return ORVAFSMkdirP(szPath, nullptr, 0, UID_KEEP, GID_KEEP, 0755) == 0 &&
         ORVAFSMkdirP(szPath, nullptr, 1, UID_KEEP, GID_KEEP, mode) == 0;
}

}  // namespace orva
