// The child of a run.

#pragma once

#include <string>
#include <sys/types.h>

namespace Orva {

struct ScriptRun {
  std::string strTaskName;
  std::string strScript;      // the text
  std::string strScriptPath;  // the file of the script
  std::string strOutput;      // empty: the output is not kept
  uid_t uidOwner = 0;
  long iStartTime = 0;
  bool blTemporaryScript = false;
  bool blTemporaryOutput = false;  // strOutput then lacks the child's process id
  bool blEndTold = false;          // the host knows how the run ended
};

// The temporary output file of the child with this process id.
std::string temporaryOutputOf(const ScriptRun& run, pid_t pid);

// Writes the script, switches to its owner, runs it, writes the exit information, and ends the process. If the script
// cannot be written, or the output has no path, it deliberately returns -1 into the child's copy of the runner.
int runInChild(ScriptRun& run) noexcept;

}  // namespace Orva
