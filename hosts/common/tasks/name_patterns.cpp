#include "name_patterns.h"

#include <algorithm>

#include "name_match.h"

namespace Host {

namespace {

constexpr std::size_t MAX_PLAIN = 255;
constexpr char ANY_LETTER = '_';
constexpr char END_OF_NAME = ']';

/// Tells whether each byte is a character of its own.
bool isAscii(std::string_view strText) {
  return std::all_of(strText.begin(), strText.end(), [](char c) { return static_cast<signed char>(c) > 0; });
}

/// Other programs may store any name.
bool isOdd(const std::string& strName) {
  return strName.size() > MAX_PLAIN || !isAscii(strName) || strName.find_first_of("%[]") != std::string::npos;
}

}  // namespace

NamePatterns::NamePatterns(const Names& names) {
  for (const std::string& strName : names) {
    if (isOdd(strName)) {
      m_vecOdd.push_back(strName);
    } else {
      m_vecEntries.push_back({folded(strName), strName});
    }
  }
  std::sort(m_vecEntries.begin(), m_vecEntries.end(),
            [](const Entry& left, const Entry& right) { return left.strFolded < right.strFolded; });
}

/// Leaves out the entries that end here; the shorter ones come first.
void NamePatterns::takeEnding(Range& range, bool blTake, Names& found) const {
  for (; range.iFirst < range.iEnd && m_vecEntries[range.iFirst].strFolded.size() == range.cLetters; ++range.iFirst) {
    if (blTake) {
      found.insert(m_vecEntries[range.iFirst].strName);
    }
  }
}

/// The entries that have this letter next.
NamePatterns::Range NamePatterns::withLetter(const Range& range, char cLetter) const {
  const auto at = [&](std::size_t i) { return m_vecEntries.begin() + static_cast<std::ptrdiff_t>(i); };
  const auto letterOf = [&](const Entry& entry) { return entry.strFolded[range.cLetters]; };
  const auto first = std::partition_point(at(range.iFirst), at(range.iEnd),
                                          [&](const Entry& entry) { return letterOf(entry) < cLetter; });
  const auto end =
      std::partition_point(first, at(range.iEnd), [&](const Entry& entry) { return letterOf(entry) == cLetter; });
  return {static_cast<std::size_t>(first - m_vecEntries.begin()), static_cast<std::size_t>(end - m_vecEntries.begin()),
          range.cLetters + 1};
}

/// The names that match the beginning of a text up to a closing bracket.
void NamePatterns::findPatterns(Range range, std::string_view strText, Names& found) const {
  const char cNext = range.cLetters < strText.size() ? strText[range.cLetters] : '\0';
  takeEnding(range, cNext == END_OF_NAME, found);
  if (range.iFirst == range.iEnd || cNext == '\0') {
    return;
  }
  findPatterns(withLetter(range, ANY_LETTER), strText, found);
  if (cNext != ANY_LETTER) {
    findPatterns(withLetter(range, cNext), strText, found);
  }
}

/// The names that a pattern matches.
void NamePatterns::findTexts(Range range, std::string_view strPattern, Names& found) const {
  takeEnding(range, range.cLetters == strPattern.size(), found);
  if (range.cLetters >= strPattern.size()) {
    return;
  }
  if (const char cNext = strPattern[range.cLetters]; cNext != ANY_LETTER) {
    range = withLetter(range, cNext);
    if (range.iFirst < range.iEnd) {
      findTexts(range, strPattern, found);
    }
    return;
  }
  while (range.iFirst < range.iEnd) {
    const Range one = withLetter(range, m_vecEntries[range.iFirst].strFolded[range.cLetters]);
    findTexts(one, strPattern, found);
    range.iFirst = one.iEnd;
  }
}

NamePatterns::Names NamePatterns::namesIn(const std::string& strDepend) const {
  Names found;
  const auto compare = [&](const std::string& strName) {
    if (matches(dependantPattern(strName), strDepend)) {
      found.insert(strName);
    }
  };
  std::for_each(m_vecOdd.begin(), m_vecOdd.end(), compare);
  if (!isAscii(strDepend)) {
    std::for_each(m_vecEntries.begin(), m_vecEntries.end(), [&](const Entry& entry) { compare(entry.strName); });
    return found;
  }
  const std::string strFolded = folded(strDepend);
  // A pattern can also match across the brackets of two names, so a name may begin behind each of them.
  for (std::size_t i = strDepend.find('['); i != std::string::npos; i = strDepend.find('[', i + 1)) {
    findPatterns({0, m_vecEntries.size(), 0}, std::string_view(strFolded).substr(i + 1), found);
  }
  return found;
}

NamePatterns::Names NamePatterns::namesLike(const std::string& strName) const {
  Names found;
  const auto compare = [&](const std::string& strOther) {
    if (matches(strName, strOther) || matches(strOther, strName)) {
      found.insert(strOther);
    }
  };
  std::for_each(m_vecOdd.begin(), m_vecOdd.end(), compare);
  if (isOdd(strName)) {
    std::for_each(m_vecEntries.begin(), m_vecEntries.end(), [&](const Entry& entry) { compare(entry.strName); });
  } else {
    findPatterns({0, m_vecEntries.size(), 0}, folded(strName) + END_OF_NAME, found);
    findTexts({0, m_vecEntries.size(), 0}, folded(strName), found);
  }
  return found;
}

}  // namespace Host
