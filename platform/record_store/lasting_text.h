/// \file lasting_text.h
/// Texts that outlive every record, so that records can share them instead of each having a copy.

#pragma once

#include <string>
#include <string_view>

namespace record_store {

/// A copy of a name that is never freed, on purpose: there are as many as definitions have columns.
const char* lastingName(const std::string& strName);

/// The same for a text out of a row.
/// \return null for a text that is long or holds a NUL, and when there are many already: what rows hold is the users'
///         affair, and must not fill the memory.
const char* lastingText(std::string_view strText);

/// Recognizes what says the same again and again: the rows of a list are of few tasks, and end in few ways. A large
/// part of what a list costs is one piece of memory for each text.
class RepeatedText {
public:
  /// \return a lasting copy when this is the text of the last call again and there is one; otherwise null.
  const char* find(std::string_view strText);

private:
  std::string m_strLast;
  const char* m_szLasting = nullptr;
  bool m_blAsked = false;
};

}  // namespace record_store
