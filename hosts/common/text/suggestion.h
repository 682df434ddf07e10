/// \file suggestion.h
/// Suggestions for mistyped names.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Gives `; did you mean "x"?` with similar names; empty when there are none.
/// \param vecKnown  the known names.
std::string didYouMean(const std::string& strTyped, const std::vector<std::string>& vecKnown);

}  // namespace Host
