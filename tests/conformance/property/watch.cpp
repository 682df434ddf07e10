#include <algorithm>

#include "conformance/property/exports.h"

namespace OrvaTest {

void Watch::expectOneOf(std::initializer_list<int> results) {
  if (std::find(results.begin(), results.end(), m_iResult) == results.end()) {
    complain("gave " + std::to_string(m_iResult));
  }
  expect(!failed() || m_world.loggedLines() > 0, "a failure is logged");
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
  for (const std::string& strProblem : m_world.leftovers()) {
    complain(strProblem);
  }
  return m_broken;
}

}  // namespace OrvaTest
