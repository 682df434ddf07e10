/// \file prune_problems.h
/// What the last removal of old runs could not remove: /run/eorva/prune-problems, a line each.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Replaces the lines. \throw Failure; here and below.
void notePruneProblems(const std::vector<std::string>& vecProblems);

std::vector<std::string> pruneProblems();

}  // namespace Host
