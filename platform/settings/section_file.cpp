#include "settings/section_file.h"

#include <fmt/format.h>

#include "settings/text_line.h"

namespace orva {
namespace {

class SectionParser {
public:
  explicit SectionParser(const FaultSink& onFault) : m_onFault(onFault) {}

  void takeLine(std::string_view strLine, int iLine) {
    if (isBlankOrComment(strLine)) {
      return;
    }
    const std::string_view strText = trimmed(strLine);
    strText.front() == '[' ? beginSection(strText, iLine) : addEntry(strText, iLine);
  }

  std::vector<Section> take() { return std::move(m_vecSection); }

private:
  void beginSection(std::string_view strText, int iLine) {
    const std::string_view strName =
        strText.back() == ']' ? trimmed(strText.substr(1, strText.size() - 2)) : std::string_view();
    m_blInSection = !strName.empty();
    if (m_blInSection) {
      m_vecSection.push_back({std::string(strName), iLine, {}});
    } else {
      m_onFault(iLine, fmt::format("not a section: \"{}\"", strText));
    }
  }

  void addEntry(std::string_view strText, int iLine) {
    const auto pair = cutKeyValue(strText);
    if (!pair) {
      m_onFault(iLine, fmt::format("neither a section nor KEY = VALUE: \"{}\"", strText));
    } else if (!m_blInSection) {
      m_onFault(iLine, fmt::format("\"{}\" is in no section", pair->strKey));
    } else {
      m_vecSection.back().vecEntry.push_back({std::string(pair->strKey), std::string(pair->strValue), iLine});
    }
  }

  const FaultSink& m_onFault;
  std::vector<Section> m_vecSection;
  bool m_blInSection = false;
};

}  // namespace

std::vector<Section> parseSections(std::string_view strText, const FaultSink& onFault) {
  SectionParser parser(onFault);
  for (int iLine = 1; !strText.empty(); ++iLine) {
    parser.takeLine(takeLine(strText), iLine);
  }
  return parser.take();
}

}  // namespace orva
