/// \file eorva_test.h
/// The base of every conformance test. It includes all that such a test needs.

#pragma once

#include <deque>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <map>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "fakes/expected_lines.h"
#include "fakes/fakes.h"
#include "support/files.h"
#include "support/processes.h"
#include "support/users.h"

namespace OrvaTest {

/// Parses JSON written with single quotes instead of double ones: json("{'task_name':'a'}"). Throws when it cannot.
Json::Value json(std::string strText);

/// Starts every test with a healthy server, both flags false and `errno` 0, and verifies at its end that it logged
/// what it announced and nothing else, and left no child, descriptor or platform object behind.
class EorvaTest : public ::testing::Test {
protected:
  EorvaTest();
  ~EorvaTest() override;

  /// \name Lines that the test announces, before or after they are logged, in their order
  /// @{
  ExpectedLine& expectFailure(const std::string& strText, const std::string& strSource);
  /// An error or plain line.
  ExpectedLine& expectLine(const std::string& strText, const std::string& strSource);
  /// A line straight to syslog.
  ExpectedLine& expectDirectLine(const std::string& strText, const std::string& strSource);
  /// A debug line; set `blDebugOutput` before the call.
  ExpectedLine& expectDebug(const std::string& strText, const std::string& strSource);
  /// What the library says when RunnerStopped comes out of its polling.
  ExpectedLine& expectStopped() {
    return expectLine(std::string("operation given up: ") + RunnerStopped().what(), LIB);
  }
  /// @}

  /// Holds the announced lines against those logged so far, and starts anew.
  void verifyLog();
  /// Every line since the last verifyLog().
  std::vector<LogLine> logLines() const;
  /// Forgets what was logged and announced; for loops whose lines are not the point.
  void forgetLog();
  /// The names of the library's files in /tmp, which are removed. A test that leaves such files fails unless it takes
  /// them.
  static std::vector<std::string> takeTemporaryFiles();
  /// Nothing of the log is verified any more in this test.
  void ignoreLog() { m_blIgnoreLog = true; }

private:
  void verifyNothingIsLeft();

  pid_t m_pidTest;
  std::map<int, std::string> m_descriptors;
  std::deque<ExpectedLine> m_expected;
  size_t m_cForgotten = 0;  // lines of the journal that were dealt with already
  int m_iGeneration = 0;    // of the journal then
  bool m_blIgnoreLog = false;
};

/// With an open in-memory database and the two store handles.
class HandlesTest : public EorvaTest {
protected:
  HandlesTest();
  ~HandlesTest() override;

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

}  // namespace OrvaTest
