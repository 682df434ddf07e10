/// \file utf8.h
/// Characters of a text in UTF-8, one by one.

#pragma once

#include <optional>
#include <string_view>

namespace Host {

/// Takes one code point off the front of a text that is not empty.
/// \return nothing, and the text as it was, when the bytes are no UTF-8 (overlong forms and surrogates are none).
std::optional<char32_t> takeCodePoint(std::string_view& strText);

/// Tells whether a code point only controls the display, so that the shown text can differ from the real one.
bool isControl(char32_t code);

/// Tells whether a code point is a control, or a format character that nobody sees.
bool isInvisible(char32_t code);

}  // namespace Host
