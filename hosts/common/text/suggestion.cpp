#include "suggestion.h"

#include <algorithm>
#include <cstddef>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace Host {

namespace {

constexpr std::size_t MAX_SUGGESTIONS = 3;

/// Longer texts are not compared: it would take too long.
constexpr std::size_t CB_LONGEST = 200;

/// How many letters have to be changed, inserted, removed, or swapped with the next one.
std::size_t distance(const std::string& strLeft, const std::string& strRight) {
  std::vector<std::size_t> vecBefore;
  std::vector<std::size_t> vecLast(strRight.size() + 1);
  for (std::size_t j = 0; j <= strRight.size(); ++j) {
    vecLast[j] = j;
  }
  for (std::size_t i = 1; i <= strLeft.size(); ++i) {
    std::vector<std::size_t> vecRow(strRight.size() + 1, i);
    for (std::size_t j = 1; j <= strRight.size(); ++j) {
      const std::size_t cChange = strLeft[i - 1] == strRight[j - 1] ? 0 : 1;
      vecRow[j] = std::min({vecLast[j] + 1, vecRow[j - 1] + 1, vecLast[j - 1] + cChange});
      if (i > 1 && j > 1 && strLeft[i - 1] == strRight[j - 2] && strLeft[i - 2] == strRight[j - 1]) {
        vecRow[j] = std::min(vecRow[j], vecBefore[j - 2] + 1);
      }
    }
    vecBefore = std::move(vecLast);
    vecLast = std::move(vecRow);
  }
  return vecLast.back();
}

/// How many letters may differ in a word of that length.
std::size_t tolerance(std::size_t cbWord) {
  constexpr std::size_t LETTERS_A_SLIP = 3;
  return std::max<std::size_t>(1, cbWord / LETTERS_A_SLIP);
}

}  // namespace

std::string didYouMean(const std::string& strTyped, const std::vector<std::string>& vecKnown) {
  std::size_t cBest = tolerance(strTyped.size());
  std::vector<std::string> vecBest;
  for (const std::string& strKnown : vecKnown) {
    if (std::max(strTyped.size(), strKnown.size()) > CB_LONGEST || strKnown.empty()) {
      continue;
    }
    const std::size_t cDistance = distance(strTyped, strKnown);
    // Any word of one or two letters would be similar.
    if (cDistance > cBest || cDistance >= std::min(strTyped.size(), strKnown.size())) {
      continue;
    }
    if (cDistance < cBest) {
      vecBest.clear();
      cBest = cDistance;
    }
    vecBest.push_back(fmt::format("\"{}\"", strKnown));
  }
  vecBest.resize(std::min(vecBest.size(), MAX_SUGGESTIONS));
  return vecBest.empty() ? "" : fmt::format("; did you mean {}?", fmt::join(vecBest, " or "));
}

}  // namespace Host
