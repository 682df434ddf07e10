/// \file yaml_reader.h
/// Reads YAML.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Reads a document. Plain scalars are true, false, whole numbers and null, as in YAML 1.2; everything else is text.
/// References, tags, a second document and duplicate keys are refused. The last line is "...": a document without it
/// may be incomplete.
/// \throw Failure with the line.
Json::Value readYaml(const std::string& strText);

}  // namespace Host
