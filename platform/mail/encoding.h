/// \file encoding.h
/// How texts travel in a mail: base64, quoted-printable and encoded words.

#pragma once

#include <string>
#include <string_view>

namespace orva {

std::string base64(std::string_view strBytes);

/// Base64 in lines of 76 characters, each with its line end.
std::string base64Lines(std::string_view strBytes);

/// Quoted-printable in lines of at most 76 characters. Line ends ("\n") stay line ends; a line that would read
/// "From " or begin with a dot at its start is written so that no mail program takes it for its own.
std::string quotedPrintable(std::string_view strText);

/// Whether quoted-printable would cost more than base64 does.
bool wantsBase64(std::string_view strText);

/// The value of an unstructured header: as it is when that is short plain ASCII, else as encoded words in folded
/// lines. Control characters, line ends included, become blanks. The text is well-formed UTF-8.
std::string encodedHeader(std::string_view strText);

}  // namespace orva
