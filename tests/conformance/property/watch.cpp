#include <algorithm>
#include <eorvascheduler.h>

#include "conformance/property/exports.h"

namespace OrvaTest {

ResultCounts& resultCounts() {
  static ResultCounts counts;
  return counts;
}

void Watch::expectOneOf(std::initializer_list<int> results) {
  for (const int iResult : results) {
    resultCounts()[m_strFunction][iResult] += iResult == m_iResult ? 1 : 0;
  }
  if (std::find(results.begin(), results.end(), m_iResult) == results.end()) {
    complain("gave " + std::to_string(m_iResult));
  }
  // Debug lines look like other lines, so the check works only without them.
  expect(!failed() || blDebugOutput || m_world.loggedLines() > 0, "a failure is logged");
}

void Watch::expectUntouched(const char* szWhat, const std::string& strBefore, const std::string& strAfter) {
  if (strBefore != strAfter) {
    complain(std::string(szWhat) + " was changed from '" + strBefore + "' to '" + strAfter + "'");
  }
}

void Watch::expect(bool blHolds, const std::string& strPromise) {
  if (!blHolds) {
    complain("does not hold: " + strPromise);
  }
}

std::vector<std::string> Watch::broken() {
  for (const std::string& strLine : m_world.linesOfRescue()) {
    complain(strLine);
  }
  for (const std::string& strProblem : m_world.leftovers()) {
    complain(strProblem);
  }
  return m_broken;
}

}  // namespace OrvaTest
