/// \file address.h
/// Valid mail addresses.

#pragma once

#include <string_view>

namespace orva {

/// Tells whether a text is one mail address, with an allow-list of characters.
///
/// The local part has 1 to 64 letters, digits and . _ + = ~ & ' -. It begins with a letter, a digit or "_", and has no
/// two dots in a row and no dot at its end. Unless it is a local user, "@" and a domain follow, with labels of letters,
/// digits and hyphens. The whole address has at most 254 bytes. Mail programs cannot read it as a command, a file, a
/// route, a list or an option, because it has no blank, quote, comma, "|", "/", "!", "%", ":" or "<", and no leading
/// "-".
bool isMailAddress(std::string_view strAddress);

}  // namespace orva
