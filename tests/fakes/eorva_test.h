/// \file eorva_test.h
/// The base of every conformance test, with all includes that such a test needs.

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

/// Parses JSON with single instead of double quotes: json("{'task_name':'a'}"). Throws on failure.
Json::Value json(std::string strText);

/// Starts every test with a healthy server, both flags false and `errno` 0. At its end, verifies that it logged exactly
/// the expected lines, and left no child, descriptor or platform object.
class EorvaTest : public ::testing::Test {
protected:
  EorvaTest();
  ~EorvaTest() override;

  /// \name Lines that the test expects, before or after they are logged, in their order
  /// @{
  ExpectedLine& expectFailure(const std::string& strText, const std::string& strSource);
  /// An error or plain line.
  ExpectedLine& expectLine(const std::string& strText, const std::string& strSource);
  /// A line straight to syslog.
  ExpectedLine& expectDirectLine(const std::string& strText, const std::string& strSource);
  /// A debug line; set `blDebugOutput` before the call.
  ExpectedLine& expectDebug(const std::string& strText, const std::string& strSource);
  /// The library's line when RunnerStopped ends its polling.
  ExpectedLine& expectStopped() {
    return expectLine(std::string("operation given up: ") + RunnerStopped().what(), LIB);
  }
  /// @}

  /// Compares the expected lines with those logged so far, and starts again.
  void verifyLog();
  /// Every line since the last verifyLog().
  std::vector<LogLine> logLines() const;
  /// Forgets logged and expected lines; for loops whose lines do not matter.
  void forgetLog();
  /// The names of the library's files in /tmp, which are removed. A test that leaves such files fails unless it takes
  /// them.
  static std::vector<std::string> takeTemporaryFiles();
  /// Stops verifying the log in this test.
  void ignoreLog() { m_blIgnoreLog = true; }

private:
  void verifyNothingIsLeft();

  pid_t m_pidTest;
  std::map<int, std::string> m_descriptors;
  std::deque<ExpectedLine> m_expected;
  size_t m_cForgotten = 0;  // lines of the journal that were already handled
  int m_iGeneration = 0;    // of the journal at that time
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
