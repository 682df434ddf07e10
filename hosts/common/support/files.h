/// \file files.h
/// Reads and replaces files.

#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "unique_fd.h"

namespace Host {

/// Reads to the end: a file from its beginning, a pipe from where it is.
/// \param strName  names it in messages.
/// \param cbMax    the largest size that is read.
/// \throw Failure when it is larger, or cannot be read.
std::string readAll(int fd, const std::string& strName, std::size_t cbMax = std::numeric_limits<std::size_t>::max());

/// Both ends of a pipe. \throw Failure
struct Pipe {
  Pipe();
  UniqueFd reader;
  UniqueFd writer;
};

/// The largest file that readTextFile() reads.
inline constexpr std::size_t CB_MAX_FILE = std::size_t{16} << 20;

/// Bytes of a file without its holes, which cost nothing to make. All bytes where the file system knows no holes.
std::uint64_t dataSize(int fd, std::uint64_t cbFile);

/// Reads a small regular file; nothing when there is none. \throw Failure that names it.
std::optional<std::string> readTextFile(const std::string& strPath);

/// Replaces a file by a rename, so that a crash leaves the old file or the new one. A link is followed. An existing
/// file keeps its mode and owner.
/// \param mode  of a new file.
/// \throw Failure that names it; the old file is still there then.
void replaceFile(const std::string& strPath, const std::string& strText, mode_t mode);

/// The file that a path leads to if it is a link; the file need not exist. \throw Failure for a circle of links.
std::string linkTarget(const std::string& strPath);

/// Makes renames in a folder survive a power cut. \throw Failure that names it.
void syncFolder(const std::string& strFolder);

/// Writes a file that does not exist yet, with the owner and mode of another one if that exists. It survives a power
/// cut.
/// \throw Failure that names it; nothing is left then.
void writeNewFile(const std::string& strPath, const std::string& strLike, const std::string& strText, mode_t mode);

/// Writes a file of our own in a folder that is open, in which others may write, too. A link is replaced.
/// \param strPath  its path: the last part is its name there, the whole is for messages.
/// \param fnWrite  writes the content to a descriptor; may throw.
/// \throw Failure that names it; the old content stays then.
void replaceFileAt(int fdFolder, const std::string& strPath, const std::function<void(int)>& fnWrite, mode_t mode);

}  // namespace Host
