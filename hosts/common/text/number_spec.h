/// \file number_spec.h
/// Numbers as people write them.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Host {

/// Reads a whole number; nothing when it is none.
std::optional<std::uint64_t> numberFrom(std::string_view strText);

/// Reads bytes, as in "10G"; the units K, M, G and T are powers of 1024.
std::optional<std::uint64_t> sizeFrom(std::string_view strText);

}  // namespace Host
