/// \file yaml_writer.h
/// Writes texts as YAML.
///
/// libyaml's emitter is not used: it writes a script with a tab, a blank at the end of a line or an emoji as one quoted
/// line, which nobody can compare.

#pragma once

#include <cstddef>
#include <string>

namespace Host {

/// A text on one line: plain when every YAML reader reads the same text, else in double quotes. The text is UTF-8.
std::string yamlScalar(const std::string& strText);

/// A text of several lines below its key, as "|" and the lines; in double quotes when that is impossible.
/// \param cIndent  blanks before each line.
/// \return the text after "key: ", with the line end.
std::string yamlBlock(const std::string& strText, std::size_t cIndent);

/// Tells whether a text is well-formed UTF-8.
bool isUtf8(const std::string& strText);

}  // namespace Host
