// The file of a script.

#pragma once

#include <string>

namespace Orva {

enum class ScriptFolder {
  SHARED,  // the system's temporary folder
  RUN,     // the run's own folder, which is not a link
};

enum class ScriptFileResult { READY, NOT_WRITTEN, NOT_EXECUTABLE };

// Writes the complete script to an executable file that belongs to the runner. A file of another user, or anything else
// than a regular file with one link, is replaced or refused, never written to.
ScriptFileResult writeScriptFile(const std::string& strPath, ScriptFolder folder, const std::string& strScript);

}  // namespace Orva
