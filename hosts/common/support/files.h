/// \file files.h
/// Files that are there whole, old or new, whatever happens meanwhile.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace Host {

/// Reads a small regular file; nothing when there is none. \throw Failure that names it.
std::optional<std::string> readTextFile(const std::string& strPath);

/// Writes a file beside its place and puts it there. A link keeps its place: what it leads to is replaced. A file that
/// is there already keeps its mode and owner.
/// \param mode  of a new file.
/// \throw Failure that names it; the old file is still there then.
void replaceFile(const std::string& strPath, const std::string& strText, mode_t mode);

/// Writes a file of our own in a folder that is open, in which others may write, too. A link is replaced.
/// \param strPath  its path: the last part is its name there, the whole is for messages.
/// \throw Failure that names it; what was there is still there then.
void replaceFileAt(int fdFolder, const std::string& strPath, std::string_view strText, mode_t mode);

}  // namespace Host
