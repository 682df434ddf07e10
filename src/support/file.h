// Files by descriptor: closed on every path, read and written whole.

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

  // False when the file system reports only now that what was written is lost.
  bool close();

private:
  int m_iFd;
};

// Missing means that nothing can have that name: what may not be looked at exists.
bool isMissing(const std::string& strPath);

// A file server that has a lease on a file is asked to give it up, and then waited for, as long as the system allows.
// Anybody may hold a lease on a file of his own.
enum class Leased { WAIT, FAIL };

// Opens a regular file for reading; anything else, such as a folder or a pipe, is a failure with errno set. iFlags
// are added to open's.
FileDescriptor openRegular(const std::string& strPath, int iFlags, struct stat& info, Leased leased = Leased::WAIT);

// Reads to the end, or to the given size: what grows while it is read would have no end. Both take up where a signal
// interrupted them.
bool readUpTo(int iFd, off_t cbMost, std::string& strContent);
bool writeAll(int iFd, const std::string& strContent);

}  // namespace Orva
