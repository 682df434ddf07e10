/// \file suggestion.h
/// What somebody may have meant who typed something that there is not.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Gives `; did you mean "x"?` for what is spelled much like it; nothing when there is no such thing.
/// \param vecKnown  what could have been typed.
std::string didYouMean(const std::string& strTyped, const std::vector<std::string>& vecKnown);

}  // namespace Host
