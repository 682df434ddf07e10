/// \file utf8.h
/// Checks and repairs of UTF-8.

#pragma once

#include <string>
#include <string_view>

namespace orva {

/// Length in bytes of the character at the start of a text; 0 when it is not well-formed UTF-8 (an overlong form, a
/// surrogate, beyond U+10FFFF, or incomplete), or the text is empty.
std::size_t utf8Length(std::string_view strText);

bool isUtf8(std::string_view strText);

/// Replaces every byte that is not part of a character by U+FFFD.
std::string repairedUtf8(std::string_view strText);

/// The longest prefix of at most `cbMax` bytes that does not cut a character. The text is well-formed.
std::string_view utf8Prefix(std::string_view strText, std::size_t cbMax);

}  // namespace orva
