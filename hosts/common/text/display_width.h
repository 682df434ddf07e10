/// \file display_width.h
/// The room that a text takes on a terminal.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Host {

/// How many columns a text takes; wide characters take two, those that only change the one before take none.
std::size_t displayWidth(std::string_view strText);

/// Gives a text that takes so many columns at most; where it was cut stands a "~".
std::string cutToWidth(std::string_view strText, std::size_t cColumns);

}  // namespace Host
