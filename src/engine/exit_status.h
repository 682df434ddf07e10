// How a child ended, on its way from the shell to the run record.

#pragma once

#include <string>
#include <sys/types.h>

namespace Orva {

// Where the child of that process id leaves its exit information.
std::string exitCodePath(pid_t pid);

}  // namespace Orva
