// Files by descriptor, closed on every path, read and written completely.

#pragma once

#include <string>
#include <sys/stat.h>

namespace Orva {

class FileDescriptor {
public:
  explicit FileDescriptor(int iFd = -1) : m_iFd(iFd) {}
  ~FileDescriptor() { close(); }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return m_iFd; }
  bool isOpen() const { return m_iFd >= 0; }

  // False when the file system reports only now that written data is lost.
  bool close();

private:
  int m_iFd;
};

// A file is missing if it cannot be examined for any reason, such as a link that leads to itself.
bool isMissing(const std::string& strPath);

// If a file server has a lease on a file, opening the file breaks the lease and waits for up to the system's limit. Any
// user can have a lease on his own file.
enum class Leased { WAIT, FAIL };

// Opens a regular file for reading. Other files, such as a folder or a pipe, are a failure with errno set. iFlags are
// added to the flags of open().
FileDescriptor openRegular(const std::string& strPath, int iFlags, struct stat& info, Leased leased = Leased::WAIT);

// Reads to the end, or up to the given size, because a growing file may have no end. Both functions continue after a
// signal.
bool readUpTo(int iFd, off_t cbMost, std::string& strContent);
bool writeAll(int iFd, const std::string& strContent);

}  // namespace Orva
