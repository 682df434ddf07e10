#include "fakes/faults.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace OrvaTest {

Rule& Rule::nth(int iOrdinal) {
  m_iOrdinal = iOrdinal;
  return *this;
}

Rule& Rule::inChild() {
  m_blOnlyInChild = true;
  return *this;
}

Rule& Rule::withErrno(int iErrno) {
  m_iErrno = iErrno;
  return *this;
}

bool Rule::matches(const std::string& strName, const std::string& strCall) const {
  if (m_strCall.empty() || m_strCall == strName) {
    return true;
  }
  return m_strCall.find('(') != std::string::npos && strCall.starts_with(m_strCall);
}

Faults::Faults() : m_pidTest(::getpid()) {}

Rule& Faults::fail(const std::string& strCall, int iOrdinal) {
  Rule& rule = m_rules.emplace_back();
  rule.m_strCall = strCall;
  rule.m_blFails = true;
  rule.m_iOrdinal = iOrdinal;
  return rule;
}

Rule& Faults::answer(const std::string& strCall, int iResult, const std::optional<Json::Value>& jOut) {
  Rule& rule = m_rules.emplace_back();
  rule.m_strCall = strCall;
  rule.m_iResult = iResult;
  rule.m_jOut = jOut;
  return rule;
}

Rule& Faults::before(const std::string& strCall, std::function<void()> action) {
  Rule& rule = m_rules.emplace_back();
  rule.m_strCall = strCall;
  rule.m_action = std::move(action);
  return rule;
}

Rule& Faults::failNthCall(int iOrdinal) {
  return fail("", iOrdinal);
}

void Faults::clear() {
  m_rules.clear();
  m_pidTest = ::getpid();
}

std::optional<Answer> Faults::decide(const std::string& strName, const std::string& strCall, bool blSystemCall,
                                     bool blCanFail) {
  std::optional<Answer> answer;
  for (Rule& rule : m_rules) {
    const bool blAnyCall = rule.m_strCall.empty();
    const bool blInChild = ::getpid() != m_pidTest;
    // A loop over all calls applies to the test process, unless it is for its children.
    if ((rule.m_blOnlyInChild && !blInChild) || (blAnyCall && (!blCanFail || blInChild != rule.m_blOnlyInChild)) ||
        !rule.matches(strName, strCall)) {
      continue;
    }
    ++rule.m_cSeen;
    const bool blNow = rule.m_iOrdinal == Rule::EVERY || rule.m_iOrdinal == rule.m_cSeen;
    if (blNow && rule.m_action) {
      const int iErrno = errno;
      rule.m_action();
      errno = iErrno;
    } else if (blNow && !answer) {
      answer = Answer{rule.m_blFails, rule.m_iResult, rule.m_jOut};
      if (rule.m_iErrno != 0 || (rule.m_blFails && blSystemCall)) {
        errno = rule.m_iErrno != 0 ? rule.m_iErrno : EIO;
      }
    }
  }
  return answer;
}

}  // namespace OrvaTest
