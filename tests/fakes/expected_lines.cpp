#include "fakes/expected_lines.h"

#include <map>
#include <sstream>

#include "eorvascheduler.h"

namespace OrvaTest {

namespace {

using Lines = std::vector<LogLine>;
using Expected = std::vector<ExpectedLine>;

bool mayBePassedOver(const LogLine& line) {
  return blDebugOutput && line.isDebug();
}

// Compares in order, and reports the first difference.
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

// Children run in parallel: the order is compared for each child, but not between children.
void compareChildren(const Expected& expected, const Lines& logged, std::ostream& out) {
  std::vector<bool> taken(expected.size(), false);
  std::map<pid_t, size_t> nextOf;
  for (const LogLine& line : logged) {
    size_t i = nextOf[line.pid];
    while (i < expected.size() && (taken[i] || !expected[i].matches(line))) {
      ++i;
    }
    if (i < expected.size()) {
      taken[i] = true;
      nextOf[line.pid] = i + 1;
    } else if (!mayBePassedOver(line)) {
      out << "unexpected in a child, or too late: " << line << "\n";
    }
  }
  for (size_t i = 0; i < expected.size(); ++i) {
    if (!taken[i]) {
      out << "not logged in a child, or too early: " << expected[i].describe() << "\n";
    }
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
  compareChildren(expectedOfChildren, ofChildren, out);
  if (!out.str().empty()) {
    out << "everything that was logged:\n";
    for (const LogLine& line : logged) {
      out << (line.pid == pidTest ? "  " : "  child: ") << line << "\n";
    }
  }
  return out.str();
}

}  // namespace OrvaTest
