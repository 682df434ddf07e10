#include "live_table.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <numeric>
#include <utility>

#include "common/text/display_width.h"
#include "common/text/terminal_text.h"

namespace {

constexpr std::size_t COLUMNS = 5;
constexpr std::size_t SINCE = 2;
constexpr std::size_t TIME = 3;
constexpr std::size_t STATE = 4;
constexpr std::size_t GAPS = COLUMNS - 1;

using Cells = std::array<std::string, COLUMNS>;
using Widths = std::array<std::size_t, COLUMNS>;

struct Line {
  Cells cells;
  const char* szColor = nullptr;
};

Widths widthsOf(const std::vector<Line>& vecLines) {
  Widths widths{};
  for (const Line& line : vecLines) {
    for (std::size_t i = 0; i < COLUMNS; ++i) {
      widths[i] = std::max(widths[i], Host::displayWidth(line.cells[i]));
    }
  }
  return widths;
}

std::size_t totalOf(const Widths& widths) {
  return std::accumulate(widths.begin(), widths.end(), GAPS);
}

/// Leaves out the day first, then makes the widest column narrower, again and again. Not left to libsmartcols, which
/// makes no column narrower than its title: a line that is too wide would break the redrawing.
Widths fit(std::vector<Line>& vecLines, std::size_t cColumns) {
  if (totalOf(widthsOf(vecLines)) > cColumns) {
    for (Line& line : vecLines) {
      std::string& strSince = line.cells[SINCE];
      strSince.erase(0, strSince.find(' ') + 1);
    }
  }
  Widths widths = widthsOf(vecLines);
  while (totalOf(widths) > cColumns && totalOf(widths) > COLUMNS + GAPS) {
    --*std::max_element(widths.begin(), widths.end());
  }
  return widths;
}

std::string padded(const std::string& strText, std::size_t cColumns, bool blRight) {
  const std::string strBlanks(cColumns - Host::displayWidth(strText), ' ');
  return blRight ? strBlanks + strText : strText + strBlanks;
}

std::string draw(const Line& line, const Widths& widths, std::size_t cColumns) {
  std::string strText;
  for (std::size_t i = 0; i < STATE; ++i) {
    strText += padded(Host::cutToWidth(line.cells[i], widths[i]), widths[i], i == TIME) + " ";
  }
  if (totalOf(widths) > cColumns) {
    return Host::cutToWidth(strText, cColumns);
  }
  const std::string strState = Host::cutToWidth(line.cells[STATE], widths[STATE]);
  return strText + (line.szColor != nullptr ? fmt::format("{}{}\033[0m", line.szColor, strState) : strState);
}

/// Keeps the most important rows when there is not enough room.
/// \return how many are left out.
std::size_t choose(std::vector<LiveRow>& vecRows, std::size_t cLines) {
  if (cLines == 0 || vecRows.size() < cLines) {
    return 0;
  }
  constexpr std::size_t BESIDES = 2;
  const std::size_t cShown = cLines > BESIDES ? cLines - BESIDES : 0;
  const std::size_t cMore = vecRows.size() - cShown;
  std::vector<LiveRow> vecSorted;
  for (const LiveRow::Rank rank :
       {LiveRow::Rank::RUNNING, LiveRow::Rank::FAILED, LiveRow::Rank::WAITING, LiveRow::Rank::DONE}) {
    std::copy_if(vecRows.begin(), vecRows.end(), std::back_inserter(vecSorted),
                 [rank](const LiveRow& row) { return row.rank == rank; });
  }
  vecRows = std::move(vecSorted);
  vecRows.resize(cShown);
  return cMore;
}

}  // namespace

std::vector<std::string> drawLiveTable(std::vector<LiveRow> vecRows, std::size_t cColumns, std::size_t cLines) {
  const std::size_t cMore = choose(vecRows, cLines);
  std::vector<Line> vecLines;
  if (!vecRows.empty()) {
    vecLines.push_back({{"TASK", "OWNER", "SINCE", "TIME", "STATE"}});
  }
  for (const LiveRow& row : vecRows) {
    vecLines.push_back({{Host::onOneLine(row.strTask), Host::onOneLine(row.strOwner), row.strSince, row.strTime,
                         Host::onOneLine(row.strState)},
                        row.szColor});
  }
  const Widths widths = fit(vecLines, cColumns);
  std::vector<std::string> vecText;
  vecText.reserve(vecLines.size() + 1);
  for (const Line& line : vecLines) {
    vecText.push_back(draw(line, widths, cColumns));
  }
  if (cMore > 0) {
    vecText.push_back(Host::cutToWidth(fmt::format("... and {} more", cMore), cColumns));
  }
  return vecText;
}
