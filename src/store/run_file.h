// The files of a run.

#pragma once

#include <limits>
#include <string>
#include <sys/types.h>

namespace Orva {

constexpr off_t WHOLE_FILE = std::numeric_limits<off_t>::max();

// Like loadFile(), for a file in a folder where the run's owner can create files. A link is not followed, a file with
// more than one hard link is not read, and nobody's lease is waited for; each gives -1. Reads only the first cbMost
// bytes.
int loadRunFile(const std::string& strFilePath, std::string& strContent, off_t cbMost = WHOLE_FILE);

}  // namespace Orva
