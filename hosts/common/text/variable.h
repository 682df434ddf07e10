/// \file variable.h
/// Environment variables as people write them: NAME=VALUE.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Host {

/// All variables together must fit into a command line.
inline constexpr std::size_t CB_MAX_VARIABLE = 16384;

/// Splits "NAME=VALUE"; nothing when there is no "=".
std::optional<std::pair<std::string, std::string>> splitVariable(const std::string& strText);

/// Tells what is wrong with the form of a name; empty when it is sound.
std::string whyNotVariableName(std::string_view strName);

}  // namespace Host
