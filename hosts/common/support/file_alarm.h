/// \file file_alarm.h
/// Wakes up a process when a file is written to.

#pragma once

#include <string>

#include "unique_fd.h"

namespace Host {

class FileAlarm {
public:
  /// Where the kernel can watch no more files, there is no alarm. \throw Failure
  explicit FileAlarm(const std::string& strPath);

  bool isOpen() const { return m_fd.isOpen(); }

  /// Becomes readable when the file was written to.
  int fd() const { return m_fd.get(); }

  /// Waits for the next write.
  void reset() const;

private:
  UniqueFd m_fd;
};

}  // namespace Host
