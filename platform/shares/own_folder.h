/// \file own_folder.h
/// Folders with the platform's own data.

#pragma once

#include <sys/types.h>

#include "orva_platform.h"

namespace orva {

/// Creates a folder with a mode, and its missing parents with read access for everybody.
/// \return false when this fails; `errno` has the reason.
inline bool makeOwnFolder(const char* szPath, mode_t mode) {
  constexpr uid_t UID_KEEP = static_cast<uid_t>(-1);
  constexpr gid_t GID_KEEP = static_cast<gid_t>(-1);
  return ORVAFSMkdirP(szPath, nullptr, 0, UID_KEEP, GID_KEEP, 0755) == 0 &&
         ORVAFSMkdirP(szPath, nullptr, 1, UID_KEEP, GID_KEEP, mode) == 0;
}

}  // namespace orva
