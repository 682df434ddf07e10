/// \file faults.h
/// What the fakes shall answer instead of doing their work.

#pragma once

#include <functional>
#include <json/value.h>
#include <list>
#include <optional>
#include <string>
#include <sys/types.h>

namespace OrvaTest {

/// Which call a rule means, and what it makes of it. Made by Fakes::fail() and Fakes::answer().
class Rule {
public:
  static constexpr int EVERY = 0;

  /// Only the n-th call that matches, counted from now on; EVERY for all of them.
  Rule& nth(int iOrdinal);
  Rule& every() { return nth(EVERY); }

  /// Only in a forked child. Every process goes on counting from what it had at its fork.
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
  bool blFails;                     ///< the call shall fail in its own manner
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

  /// \return the answer of the first rule that means this call, if any; `errno` is then what the rule says.
  std::optional<Answer> decide(const std::string& strName, const std::string& strCall, bool blSystemCall,
                               bool blCanFail);

private:
  std::list<Rule> m_rules;
  pid_t m_pidTest;
};

}  // namespace OrvaTest
