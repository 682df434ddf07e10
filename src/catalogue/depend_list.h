// The list of the tasks that a task waits for: "[backup][cleanup]".

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orva {

// The list entry of one name.
std::string dependEntry(std::string_view strName);

// Reads the names in order, including empty ones; text outside brackets is skipped. A "[" without a later "]" logs a
// line and gives -1; the names before it are kept.
int parseDependList(const std::string& strTaskDepend, std::vector<std::string>& names);

}  // namespace Orva
