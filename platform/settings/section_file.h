/// \file section_file.h
/// Files of sections: "[name]" lines, each followed by its KEY = VALUE lines. Empty lines and lines that begin with "#"
/// or ";" are ignored.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct SectionEntry {
  std::string strKey;
  std::string strValue;  ///< unchanged, including quotes
  int iLine = 0;
};

struct Section {
  std::string strName;
  int iLine = 0;
  std::vector<SectionEntry> vecEntry;
};

/// Receives an error in a file: the line number and a description.
using FaultSink = std::function<void(int iLine, const std::string& strFault)>;

/// Splits the text of such a file. A line of another form is reported and skipped, as are lines before the first
/// section or after a section line without a name.
std::vector<Section> parseSections(std::string_view strText, const FaultSink& onFault);

}  // namespace orva
