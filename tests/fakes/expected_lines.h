/// \file expected_lines.h
/// The lines that a test expects, held against those that were logged.

#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "fakes/log_lines.h"

namespace OrvaTest {

/// One expected line.
class ExpectedLine {
public:
  ExpectedLine(LogLine::Form form, const std::string& strText, const std::string& strSource)
      : m_form(form), m_strText(strText), m_strSource(strSource) {}

  /// Logged by a forked child instead; the order among the children's lines does not count.
  ExpectedLine& inChild() {
    m_blInChild = true;
    return *this;
  }
  /// With that reason in its "(%m)"; without this, any.
  ExpectedLine& withErrno(int iErrno) {
    m_iErrno = iErrno;
    return *this;
  }
  /// The text is only the beginning.
  ExpectedLine& beginning() {
    m_blBeginning = true;
    return *this;
  }

  bool isInChild() const { return m_blInChild; }
  bool matches(const LogLine& line) const;
  std::string describe() const;

private:
  LogLine::Form m_form;
  std::string m_strText;
  std::string m_strSource;
  bool m_blInChild = false;
  bool m_blBeginning = false;
  std::optional<int> m_iErrno;
};

/// What differs between the expected lines and the logged ones; empty when nothing does. Debug lines that nobody
/// expects are passed over while `blDebugOutput` is set.
std::string compareLog(const std::deque<ExpectedLine>& expected, const std::vector<LogLine>& logged, pid_t pidTest);

}  // namespace OrvaTest
