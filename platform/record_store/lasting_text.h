/// \file lasting_text.h
/// Texts that outlive every record, so that records can share them instead of copying them.

#pragma once

#include <string>
#include <string_view>

namespace record_store {

/// A copy of a name that is deliberately never freed. There is one for each column of the definitions.
const char* lastingName(const std::string& strName);

/// A copy of a text in a row that is never freed.
/// \return null for a text that is long or contains a NUL, and when there are many already, because texts of users must
///         not fill the memory.
const char* lastingText(std::string_view strText);

/// Recognizes repeated texts. The rows of a list have few different tasks and exit types, and allocating each text is a
/// large part of a list's cost.
class RepeatedText {
public:
  /// \return a lasting copy when this is the same text as in the last call and a copy exists; otherwise null.
  const char* find(std::string_view strText);

private:
  std::string m_strLast;
  const char* m_szLasting = nullptr;
  bool m_blAsked = false;
};

}  // namespace record_store
