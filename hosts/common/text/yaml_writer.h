/// \file yaml_writer.h
/// Texts as YAML.
///
/// Written by hand: libyaml's emitter puts a script on one quoted line when it has a tab, a blank at the end of a line or
/// a character beyond U+FFFF, and people could not compare such scripts.

#pragma once

#include <cstddef>
#include <string>

namespace Host {

/// A text on one line: as it stands when every reader of YAML takes it for the same text, else in double quotes.
/// The text is UTF-8.
std::string yamlScalar(const std::string& strText);

/// A text of several lines, below its key, as "|" and its lines; in double quotes when lines could not hold it.
/// \param cIndent  blanks before each line.
/// \return what stands behind "key: ", with the end of the line.
std::string yamlBlock(const std::string& strText, std::size_t cIndent);

/// Tells whether a text is well-formed UTF-8.
bool isUtf8(const std::string& strText);

}  // namespace Host
