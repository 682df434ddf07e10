#include "fakes/expected_lines.h"

#include <algorithm>
#include <sstream>

#include "eorvascheduler.h"

namespace OrvaTest {

namespace {

using Lines = std::vector<LogLine>;
using Expected = std::vector<ExpectedLine>;

bool mayBePassedOver(const LogLine& line) {
  return blDebugOutput && line.isDebug();
}

// In order; the first difference is reported.
void compareInOrder(const Expected& expected, const Lines& logged, std::ostream& out) {
  size_t iNext = 0;
  for (const LogLine& line : logged) {
    if (iNext < expected.size() && expected[iNext].matches(line)) {
      ++iNext;
    } else if (!mayBePassedOver(line)) {
      out << "unexpected " << line << "\n";
      if (iNext < expected.size()) {
        out << "where this was expected: " << expected[iNext].describe() << "\n";
      }
      return;
    }
  }
  for (; iNext < expected.size(); ++iNext) {
    out << "not logged: " << expected[iNext].describe() << "\n";
  }
}

// In any order: children run side by side.
void compareAsSet(Expected expected, const Lines& logged, std::ostream& out) {
  for (const LogLine& line : logged) {
    const auto found =
        std::find_if(expected.begin(), expected.end(), [&](const auto& candidate) { return candidate.matches(line); });
    if (found != expected.end()) {
      expected.erase(found);
    } else if (!mayBePassedOver(line)) {
      out << "unexpected in a child: " << line << "\n";
    }
  }
  for (const ExpectedLine& missing : expected) {
    out << "not logged in a child: " << missing.describe() << "\n";
  }
}

}  // namespace

bool ExpectedLine::matches(const LogLine& line) const {
  const bool blSameText = m_blBeginning ? line.strText.starts_with(m_strText) : line.strText == m_strText;
  return line.form == m_form && blSameText && line.strSource == m_strSource && (!m_iErrno || *m_iErrno == line.iErrno);
}

std::string ExpectedLine::describe() const {
  LogLine line;
  line.form = m_form;
  line.strText = m_strText;
  std::ostringstream out;
  line.strSource = m_strSource;
  out << line;
  if (m_iErrno) {
    out << " with errno " << *m_iErrno;
  }
  return out.str();
}

std::string compareLog(const std::deque<ExpectedLine>& expected, const std::vector<LogLine>& logged, pid_t pidTest) {
  Lines own;
  Lines ofChildren;
  for (const LogLine& line : logged) {
    (line.pid == pidTest ? own : ofChildren).push_back(line);
  }
  Expected ownExpected;
  Expected expectedOfChildren;
  for (const ExpectedLine& line : expected) {
    (line.isInChild() ? expectedOfChildren : ownExpected).push_back(line);
  }
  std::ostringstream out;
  compareInOrder(ownExpected, own, out);
  compareAsSet(expectedOfChildren, ofChildren, out);
  if (!out.str().empty()) {
    out << "everything that was logged:\n";
    for (const LogLine& line : logged) {
      out << (line.pid == pidTest ? "  " : "  child: ") << line << "\n";
    }
  }
  return out.str();
}

}  // namespace OrvaTest
