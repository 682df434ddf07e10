/// \file base64.h
/// Bytes as letters.

#pragma once

#include <optional>
#include <string>

namespace Host {

std::string toBase64(const std::string& strBytes);

/// \return nothing when the text is none.
std::optional<std::string> fromBase64(const std::string& strText);

}  // namespace Host
