// What the child of a run does.

#pragma once

#include <string>
#include <sys/types.h>

namespace Orva {

struct ScriptRun {
  std::string strTaskName;
  std::string strScript;      // the text
  std::string strScriptPath;  // the file it is run from
  std::string strOutput;      // empty: the output is not kept
  uid_t uidOwner = 0;
  long iStartTime = 0;
  bool blTemporaryScript = false;
  bool blTemporaryOutput = false;  // strOutput then lacks the process id that makes it the child's own
};

// The temporary output file of the child of that process id.
std::string temporaryOutputOf(const ScriptRun& run, pid_t pid);

// Writes the script, becomes its owner, runs it, leaves the exit information and ends the process. Only what keeps it
// from being written, or its output from having a name, returns: -1, deliberately into the copy of the runner that the
// child is.
int runInChild(ScriptRun& run) noexcept;

}  // namespace Orva
