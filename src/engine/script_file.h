// The file that a script is run from.

#pragma once

#include <string>

namespace Orva {

enum class ScriptFolder {
  SHARED,  // the system's temporary folder
  RUN,     // a folder of the run's own, which is no link
};

enum class ScriptFileResult { READY, NOT_WRITTEN, NOT_EXECUTABLE };

// Writes the script, whole, and makes it executable, as the runner's own file: what a stranger put in its place, and
// anything but a plain file with this one name, is replaced or refused, never written through.
ScriptFileResult writeScriptFile(const std::string& strPath, ScriptFolder folder, const std::string& strScript);

}  // namespace Orva
