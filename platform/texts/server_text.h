/// \file server_text.h
/// Single texts of the server's language.

#pragma once

#include <optional>
#include <string>

namespace orva {

/// A text in the server's language, or in English if that language lacks it; nothing when neither has it.
std::optional<std::string> serverText(const std::string& strSection, const std::string& strKey);

}  // namespace orva
