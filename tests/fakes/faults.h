/// \file faults.h
/// Scripted answers of the fakes.

#pragma once

#include <functional>
#include <json/value.h>
#include <list>
#include <optional>
#include <string>
#include <sys/types.h>

namespace OrvaTest {

/// A rule: a call and its answer. Fakes::fail() and Fakes::answer() make rules.
class Rule {
public:
  static constexpr int EVERY = 0;

  /// Applies only to the n-th matching call, counted from now on; EVERY for all calls.
  Rule& nth(int iOrdinal);
  Rule& every() { return nth(EVERY); }

  /// Applies only in a forked child. A child continues counting from its parent's count at the fork.
  Rule& inChild();

  /// Sets `errno`.
  Rule& withErrno(int iErrno);

private:
  friend class Faults;

  bool matches(const std::string& strName, const std::string& strCall) const;

  std::string m_strCall;  // a call's name, or the beginning of its text
  bool m_blFails = false;
  bool m_blOnlyInChild = false;
  int m_iOrdinal = 1;
  int m_cSeen = 0;
  int m_iErrno = 0;
  int m_iResult = 0;
  std::optional<Json::Value> m_jOut;
  std::function<void()> m_action;
};

/// The answer of a rule to one call.
struct Answer {
  bool blFails;                     ///< the call fails
  int iResult;                      ///< else: its result
  std::optional<Json::Value> jOut;  ///< else: its out value
  int result(int iFailure) const { return blFails ? iFailure : iResult; }
};

/// The rules of one test.
class Faults {
public:
  Faults();

  Rule& fail(const std::string& strCall, int iOrdinal);
  Rule& answer(const std::string& strCall, int iResult, const std::optional<Json::Value>& jOut);
  Rule& before(const std::string& strCall, std::function<void()> action);
  /// Fails the n-th call of all that can fail.
  Rule& failNthCall(int iOrdinal);
  void clear();

  /// \return the answer of the first rule for this call, if any; `errno` is then set by the rule.
  std::optional<Answer> decide(const std::string& strName, const std::string& strCall, bool blSystemCall,
                               bool blCanFail);

private:
  std::list<Rule> m_rules;
  pid_t m_pidTest;
};

}  // namespace OrvaTest
