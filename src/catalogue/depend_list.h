// The bracketed list of the tasks that a task waits for: "[backup][cleanup]".

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Orva {

// The entry of one name, as it stands in a list.
std::string dependEntry(std::string_view strName);

// Reads the names in order, the empty one included; text outside brackets is skipped. A "[" without a later "]"
// gives -1 and its line, and the names before it are kept.
int parseDependList(const std::string& strTaskDepend, std::vector<std::string>& names);

}  // namespace Orva
