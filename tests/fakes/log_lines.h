/// \file log_lines.h
/// The lines that the library logged, taken apart.

#pragma once

#include <iosfwd>
#include <string>
#include <sys/types.h>
#include <vector>

#include "fakes/journal.h"

namespace OrvaTest {

/// The sources that lines carry.
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

/// Every line in the journal, in order. All that the forms fix is verified: priority 3, process id, one line number,
/// "(%m)" when and only when `errno` is set, newlines; a line that breaks a form comes out MALFORMED.
std::vector<LogLine> parseLog(const std::vector<Journal::Entry>& entries);

}  // namespace OrvaTest
