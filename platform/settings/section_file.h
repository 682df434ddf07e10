/// \file section_file.h
/// Files of sections: "[name]" lines, each followed by its KEY = VALUE lines. Empty lines and lines that begin with
/// "#" or ";" do not count.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct SectionEntry {
  std::string strKey;
  std::string strValue;  ///< as it stands, quotes included
  int iLine = 0;
};

struct Section {
  std::string strName;
  int iLine = 0;
  std::vector<SectionEntry> vecEntry;
};

/// Receives what is wrong in a file: the line and what is the matter with it.
using FaultSink = std::function<void(int iLine, const std::string& strFault)>;

/// Splits the text of such a file. A line that is neither is reported and left out, as are the lines that stand
/// before the first section or below a section line without a name.
std::vector<Section> parseSections(std::string_view strText, const FaultSink& onFault);

}  // namespace orva
