/// \file base64.h
/// Reads and writes base64.

#pragma once

#include <optional>
#include <string>

namespace Host {

std::string toBase64(const std::string& strBytes);

/// \return nothing when the text is not base64.
std::optional<std::string> fromBase64(const std::string& strText);

}  // namespace Host
