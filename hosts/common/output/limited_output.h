/// \file limited_output.h
/// The output of a run, within its limit.
///
/// A script writes to the file itself: with a pipe between them it would find another kind of file, and a limit of the
/// process would count for its other files, too. So the process of the run, which waits for the shell anyway, looks at
/// the file now and then. It gives back the space behind the limit while the run goes on, and cuts the file
/// at the end. The script notices nothing of this.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "common/support/unique_fd.h"

namespace Host {

/// The file to which the shell writes that runs a command of the library; empty when there is none.
std::string outputOf(std::string_view strCommand);

class LimitedOutput {
public:
  /// \param strPath  the file; empty for none.
  /// \param cbLimit  0 for none.
  LimitedOutput(std::string strPath, std::uint64_t cbLimit);

  /// Waits for the shell. \return its wait status.
  int waitFor(pid_t pidShell);

  /// How much had been written when the output was cut; 0 when it was not.
  std::int64_t written() const { return m_cbWritten; }

private:
  void watchUntilEnd(int fdShell);
  off_t keepWithin();
  void cut();

  std::string m_strPath;
  off_t m_cbLimit;
  UniqueFd m_file;
  off_t m_cbWritten = 0;
};

}  // namespace Host
