// Files by descriptor: closed on every path, read and written whole.

#pragma once

#include <cstddef>
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

// Missing means that nothing has that name: what may not be looked at exists.
bool isMissing(const std::string& strPath);

// Opens a regular file for reading, without waiting for the other end of a pipe; anything else is a failure
// with errno set. iFlags are added to open's.
FileDescriptor openRegular(const std::string& strPath, int iFlags, struct stat& info);

// Both take up where a signal interrupted them.
bool readAll(int iFd, std::string& strContent);
bool writeAll(int iFd, const std::string& strContent);

}  // namespace Orva
