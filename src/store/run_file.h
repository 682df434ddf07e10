// The files that a run leaves behind.

#pragma once

#include <string>

namespace Orva {

// As loadFile(), for a file in a folder where the run's owner may put anything: a link is not followed, and a file
// that has another name too is not read. Both exist and cannot be read, -1.
int loadRunFile(const std::string& strFilePath, std::string& strContent);

}  // namespace Orva
