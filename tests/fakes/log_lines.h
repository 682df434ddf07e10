/// \file log_lines.h
/// The library's log lines, parsed.

#pragma once

#include <iosfwd>
#include <string>
#include <sys/types.h>
#include <vector>

#include "fakes/journal.h"

namespace OrvaTest {

/// The source names of lines.
constexpr const char* UTIL = "util";
constexpr const char* LIB = "eorvascheduler_lib";

struct LogLine {
  enum class Form {
    FAILURE,    ///< "(FILE:LINE)Failed [TEXT](%m)" with its inner newline, through the macro
    LINE,       ///< any other message through the macro
    DIRECT,     ///< straight to syslog: "FILE:LINE TEXT"
    MALFORMED,  ///< none of these, see strProblem
  };

  Form form = Form::MALFORMED;
  std::string strText;    ///< the text of the check, or the message
  std::string strSource;  ///< UTIL or LIB
  int iLine = 0;
  int iErrno = 0;  ///< `errno` when it was logged; 0 when it went to standard output
  bool blStdout = false;
  pid_t pid = 0;       ///< the process that logged
  std::string strRaw;  ///< everything that was written
  std::string strProblem;

  /// One of the lines that appear only with `blDebugOutput`.
  bool isDebug() const;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// Every line in the journal, in order. The form of each line is verified: priority 3, process id, equal line numbers,
/// "(%m)" if and only if `errno` is set, newlines. A line with another form is MALFORMED.
std::vector<LogLine> parseLog(const std::vector<Journal::Entry>& entries);

}  // namespace OrvaTest
