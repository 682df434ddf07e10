/// \file end_reports.h
/// How the processes of runs tell their ends.
///
/// When the script ends, the process of a run is its owner's, who may limit the size of the files that it writes: a
/// line in the file of the execution could be cut. So it writes into a pipe. Readers of the ends move them to the
/// file: the watch at once, and the process of the execution before it closes a run.

#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/support/files.h"

namespace Host {

/// The end of a run; so short that the pipe takes it whole.
struct EndReport {
  pid_t pid = 0;
  int iStatus = 0;             ///< wait status of the shell
  std::int64_t cbWritten = 0;  ///< how much output had been written when it was cut; 0 when it was not
  int iDirectoryError = 0;     ///< why its owner could not enter the directory of the task; an errno, or 0
};

class EndReports {
public:
  EndReports();

  /// For the process of a run. \return false when the end could not be told.
  static bool tell(int fdWriter, const EndReport& report);

  /// Moves all ends that were told so far to the file. \throw Failure
  void collect(const ExecutionFile& file) const;

  /// Can be read when an end was told.
  int reader() const { return m_pipe.reader.get(); }
  int writer() const { return m_pipe.writer.get(); }

private:
  Pipe m_pipe;
};

}  // namespace Host
