/// \file encoding.h
/// Encodings of texts in a mail: base64, quoted-printable and encoded words.

#pragma once

#include <string>
#include <string_view>

namespace orva {

std::string base64(std::string_view strBytes);

/// Base64 in lines of 76 characters, each with a line end.
std::string base64Lines(std::string_view strBytes);

/// Quoted-printable in lines of at most 76 characters. Line ends ("\n") stay line ends. A line that begins with "From "
/// or with a dot is encoded, because mail programs treat it specially.
std::string quotedPrintable(std::string_view strText);

/// Tells whether base64 is shorter than quoted-printable.
bool wantsBase64(std::string_view strText);

/// The value of an unstructured header: unchanged if it is short ASCII, else as encoded words in folded lines. Control
/// characters, including line ends, become blanks. The text is well-formed UTF-8.
std::string encodedHeader(std::string_view strText);

}  // namespace orva
