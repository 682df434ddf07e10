/// \file yaml_reader.h
/// YAML, and JSON as a part of it, as values.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Reads a document. What is plain is what YAML 1.2 takes it for: true and false, whole numbers, null; everything else
/// is text. There are no references, no types of its own, no second document, and no key stands twice. The last line is
/// "...", so that what was cut off on its way is not taken for the whole.
/// \throw Failure that tells the line.
Json::Value readYaml(const std::string& strText);

}  // namespace Host
