/// \file dependency_list.h
/// The list of tasks that a task waits for, as in "[backup][cleanup]".

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Reads the names, as the library does: text outside of brackets and an entry without a closing bracket are skipped.
std::vector<std::string> readDependencyList(const std::string& strDepend);

/// Writes the names.
std::string writeDependencyList(const std::vector<std::string>& vecNames);

}  // namespace Host
