// The files of a run.

#pragma once

#include <string>

namespace Orva {

// Like loadFile(), for a file in a folder where the run's owner can create files. A link is not followed, and a file
// with more than one hard link is not read; both give -1.
int loadRunFile(const std::string& strFilePath, std::string& strContent);

}  // namespace Orva
