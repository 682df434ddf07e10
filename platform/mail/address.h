/// \file address.h
/// Which addresses mail is sent to.

#pragma once

#include <string_view>

namespace orva {

/// Tells whether a text is one mail address, by a list of what is allowed.
///
/// The local part: 1 to 64 letters, digits and . _ + = ~ & ' -, beginning with a letter, a digit or "_", no two dots
/// in a row and none at the end. Then, unless it is a local user, "@" and a domain of labels of letters, digits and
/// hyphens. 254 bytes in all. What mail programs read as a command, a file, a route, a list or an option has no way
/// through: there is no blank, quote, comma, "|", "/", "!", "%", ":" or "<", and no leading "-".
bool isMailAddress(std::string_view strAddress);

}  // namespace orva
