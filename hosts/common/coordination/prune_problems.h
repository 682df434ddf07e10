/// \file prune_problems.h
/// The folders that the last removal of old runs left: /run/eorva/prune-problems, a line each.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Replaces the lines. \throw Failure; here and below.
void notePruneProblems(const std::vector<std::string>& vecProblems);

std::vector<std::string> pruneProblems();

}  // namespace Host
