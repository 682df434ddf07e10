/// \file expected_lines.h
/// Compares expected and logged lines.

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

  /// The line is logged by a forked child; the order between children is ignored.
  ExpectedLine& inChild() {
    m_blInChild = true;
    return *this;
  }
  /// The line has this reason in its "(%m)"; by default, any reason.
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

/// The difference between the expected and the logged lines; empty when there is none. While `blDebugOutput` is set,
/// unexpected debug lines are ignored.
std::string compareLog(const std::deque<ExpectedLine>& expected, const std::vector<LogLine>& logged, pid_t pidTest);

}  // namespace OrvaTest
