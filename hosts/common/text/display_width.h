/// \file display_width.h
/// The width of a text on a terminal.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Host {

/// The columns of a text. Wide characters take two, combining characters none.
std::size_t displayWidth(std::string_view strText);

/// Shortens a text to a width; a "~" shows the cut.
std::string cutToWidth(std::string_view strText, std::size_t cColumns);

}  // namespace Host
