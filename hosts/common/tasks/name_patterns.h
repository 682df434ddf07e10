/// \file name_patterns.h
/// Names of tasks as the library reads them: "_" stands for any character, and ASCII letters match without regard to
/// case.
///
/// The names are sorted, so the letters of a text lead to those that it can match. No text is compared with all names.

#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Host {

class NamePatterns {
public:
  using Names = std::set<std::string>;

  explicit NamePatterns(const Names& names);

  /// The names whose pattern '%[NAME]%' matches a dependency list.
  Names namesIn(const std::string& strDepend) const;

  /// The names that match a name, or are matched by it.
  Names namesLike(const std::string& strName) const;

private:
  struct Entry {
    std::string strFolded;  ///< in small letters; the order
    std::string strName;
  };

  /// Entries of equal letters up to a position.
  struct Range {
    std::size_t iFirst;
    std::size_t iEnd;
    std::size_t cLetters;
  };

  void takeEnding(Range& range, bool blTake, Names& found) const;
  Range withLetter(const Range& range, char cLetter) const;
  void findPatterns(Range range, std::string_view strText, Names& found) const;
  void findTexts(Range range, std::string_view strPattern, Names& found) const;

  std::vector<Entry> m_vecEntries;
  std::vector<std::string> m_vecOdd;  ///< names that no letters lead to: each is compared with every text
};

}  // namespace Host
