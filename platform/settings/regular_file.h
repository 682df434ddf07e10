/// \file regular_file.h
/// Reads small files of the system.

#pragma once

#include <cstddef>
#include <string>

namespace orva {

/// Reads a whole regular file. Other files (a folder, a device, a pipe) are refused without blocking.
/// \param strContent  replaced by its bytes; untouched on failure.
/// \param cbMax       a larger file is refused (EFBIG).
/// \return 0, or an errno value.
int readRegularFile(const std::string& strPath, std::string& strContent, std::size_t cbMax = std::size_t{1} << 20);

}  // namespace orva
