/// \file folder_tree.h
/// Trees of folders whose owner can change them at any time: their size, and how they are removed.
///
/// A tree can be of any depth: deeper than a path can tell, or a process can have descriptors. No link is followed, and
/// no other file system is entered.

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

/// \name All with strPath, for messages; all throw a Failure that names it
/// @{

/// Opens a folder; nothing when the name is missing or is not a folder.
std::optional<UniqueFd> openFolder(const UniqueFd& parent, const std::string& strName, const std::string& strPath);

/// The names in a folder, or so many of them.
std::vector<std::string> entriesOf(const UniqueFd& folder, const std::string& strPath,
                                   std::size_t cMost = std::numeric_limits<std::size_t>::max());

/// The space that the files in a tree really take: the first million of them. Sparse files and hard links could claim
/// any size, and cause the removal of other output.
std::uint64_t sizeOfTree(const UniqueFd& folder, const std::string& strPath);

/// Removes a file, or a folder with all that is in it.
void removeTree(const UniqueFd& parent, const std::string& strName, const std::string& strPath);
/// @}

}  // namespace Host
