/// \file key_value.h
/// Files of lines KEY=VALUE.
///
/// Blanks around key and value do not count; neither do empty lines and lines that begin with "#" or ";". One pair
/// of quotes around the whole value, single or double, is taken off; nothing inside is escaped. A "#" after a
/// value belongs to the value. When a key stands there twice, the last line holds.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orva {

/// Finds a key in the text of such a file.
std::optional<std::string> findKeyValue(std::string_view strText, std::string_view strKey);

}  // namespace orva
