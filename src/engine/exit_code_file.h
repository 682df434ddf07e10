// The place of the exit-code file in a folder where everybody can create files.

#pragma once

#include <sys/types.h>

namespace Orva {

// Puts an empty file in the place of this process's exit-code file, in exchange for whatever is there, and gives it to
// the owner. Nobody else can then replace it. Returns false when that failed.
bool claimExitCodeFile(uid_t uidOwner);

}  // namespace Orva
