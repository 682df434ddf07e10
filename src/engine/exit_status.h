// Exit information, from the shell to the run record.

#pragma once

#include <string>
#include <sys/types.h>

namespace Orva {

// The file with the exit information of the child with this process id.
std::string exitCodePath(pid_t pid);

}  // namespace Orva
