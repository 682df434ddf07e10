/// \file folder_files.h

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orva {

/// Names of the entries of a folder that end with a suffix and do not begin with a dot, sorted; empty when there is no
/// such folder.
std::vector<std::string> filesInFolder(const std::string& strFolder, std::string_view strSuffix);

}  // namespace orva
