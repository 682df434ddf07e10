/// \file key_value.h
/// Files of lines KEY=VALUE.
///
/// Blanks around key and value are ignored, as are empty lines and lines that begin with "#" or ";". One pair of single
/// or double quotes around the whole value is removed; there are no escapes inside. A "#" after a value is part of the
/// value. If a key occurs twice, the last line wins.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orva {

/// Finds the value of a key in the text of such a file.
std::optional<std::string> findKeyValue(std::string_view strText, std::string_view strKey);

}  // namespace orva
