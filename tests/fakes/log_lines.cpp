#include "fakes/log_lines.h"

#include <array>
#include <cstring>
#include <ostream>
#include <string_view>
#include <syslog.h>

namespace OrvaTest {

namespace {

// Every debug line; "*" stands for a value.
constexpr std::array DEBUG_LINES = {
    // configuration
    "no config file exist, path=*", "not config file exist, path=*", "failed to load config file=*",
    // catalogue
    "nothing to be save, ignore",
    // entry points, runner and admission
    "no task only base on event=[*]", "jTaskArray size=*", "insert task[*], pid=*", "wait child pid=* return",
    "unlink *", "task=* checking depend=*", "task[*] wait for task[*]", "task=* is not ready to run",
    "task=* is ready to run", "task=* is running, should run the same", "no status, can run",
    // launcher and exit status
    "task=*, strOp=*", "strOutPath=*", "fork and run task=*", "run script=*", "running strCmd=*",
    "system return iStatus=*", "output=*", "jExit=*", "iStatus=*", "jExitNew=*", "remove status, pid=*",
    // notification
    "exit status != 0, need not notify", "no mail address, need not notify", "send mail to *", "normal case",
    "by_signal", "stop", "continue",
    // output and presentation
    "not set output path", "not enable output", "output path=*", "script path=*", "strOut=*", "strScript=*",
    "no input parameter", "no output", "jRec is emtpy, need not change owner format",
    "jRec is emtpy, need not change timestamp format", "change owner format from[*] to [*]"};

bool matchesPattern(std::string_view strPattern, std::string_view strText) {
  if (strPattern.empty() || strPattern.front() != '*') {
    return strPattern.empty() ? strText.empty()
                              : !strText.empty() && strPattern.front() == strText.front() &&
                                    matchesPattern(strPattern.substr(1), strText.substr(1));
  }
  for (size_t cb = 0; cb <= strText.size(); ++cb) {
    if (matchesPattern(strPattern.substr(1), strText.substr(cb))) {
      return true;
    }
  }
  return false;
}

// Reads a line's text from its beginning.
class Scanner {
public:
  explicit Scanner(std::string_view strText) : m_strRest(strText) {}

  bool skip(std::string_view strExpected) {
    if (!m_strRest.starts_with(strExpected)) {
      return false;
    }
    m_strRest.remove_prefix(strExpected.size());
    return true;
  }

  bool skipLast(std::string_view strExpected) {
    if (!m_strRest.ends_with(strExpected)) {
      return false;
    }
    m_strRest.remove_suffix(strExpected.size());
    return true;
  }

  bool number(int& iNumber) {
    const size_t cb = m_strRest.find_first_not_of("0123456789");
    if (cb == 0 || cb == std::string_view::npos || cb > 9) {
      return false;
    }
    iNumber = std::stoi(std::string(m_strRest.substr(0, cb)));
    m_strRest.remove_prefix(cb);
    return true;
  }

  bool sourceAndLine(LogLine& line) {
    for (const char* szSource : {UTIL, LIB}) {
      if (skip(std::string(szSource) + ":")) {
        line.strSource = szSource;
        return number(line.iLine) && line.iLine > 0;
      }
    }
    return false;
  }

  std::string rest() const { return std::string(m_strRest); }

private:
  std::string_view m_strRest;
};

LogLine malformed(LogLine line, const std::string& strProblem) {
  line.form = LogLine::Form::MALFORMED;
  line.strText = line.strRaw;
  line.strProblem = strProblem;
  return line;
}

std::string errnoText(int iErrno) {
  return std::string("(") + std::strerror(iErrno) + ")";
}

// The message of a line through the macro: a failure or anything else.
LogLine parseMessage(LogLine line, const std::string& strMessage, bool blErrnoKnown) {
  Scanner scanner(strMessage);
  line.form = LogLine::Form::LINE;
  line.strText = strMessage;
  const std::string strStart = "(" + line.strSource + ":" + std::to_string(line.iLine) + ")Failed [";
  if (!scanner.skip(strStart)) {
    return strMessage.find(")Failed [") == std::string::npos ? line : malformed(line, "Failed, but not in its form");
  }
  if (!scanner.skipLast("\n")) {
    return malformed(line, "a failure without its inner newline");
  }
  const std::string strRest = scanner.rest();
  const size_t cbText = strRest.rfind("](");
  if (cbText == std::string::npos || !strRest.ends_with(')')) {
    return malformed(line, "a failure without (%m)");
  }
  if (blErrnoKnown && strRest.substr(cbText + 1) != errnoText(line.iErrno)) {
    return malformed(line, "a failure with another (%m) than " + errnoText(line.iErrno));
  }
  line.form = LogLine::Form::FAILURE;
  line.strText = strRest.substr(0, cbText);
  return line;
}

LogLine parseSyslog(const Journal::Entry& entry) {
  LogLine line;
  line.strRaw = entry.strText;
  line.iErrno = entry.iErrno;
  line.pid = entry.pid;
  Scanner scanner(line.strRaw);
  if (entry.iPriority != LOG_ERR) {
    return malformed(line, "syslog priority " + std::to_string(entry.iPriority));
  }
  if (!scanner.sourceAndLine(line) || !scanner.skip(" ")) {
    return malformed(line, "no FILE:LINE in front");
  }
  if (!scanner.skip("(" + std::to_string(entry.pid) + ")")) {
    line.form = LogLine::Form::DIRECT;
    line.strText = scanner.rest();
    return line;
  }
  if (line.iErrno != 0 && !scanner.skipLast(errnoText(line.iErrno))) {
    return malformed(line, "errno is set, but " + errnoText(line.iErrno) + " is not at the end");
  }
  return parseMessage(line, scanner.rest(), true);
}

bool beginsStdoutLine(const Journal::Entry& entry, LogLine& line) {
  Scanner scanner(entry.strText);
  return scanner.skip("(" + std::to_string(entry.pid) + ") ") && scanner.sourceAndLine(line) && scanner.skip(" ");
}

LogLine parseStdout(LogLine line) {
  Scanner scanner(line.strRaw);
  if (!scanner.skip("(" + std::to_string(line.pid) + ") ") || !scanner.sourceAndLine(line) || !scanner.skip(" ")) {
    return malformed(line, "no (PID) FILE:LINE in front");
  }
  return scanner.skipLast("\n") ? parseMessage(line, scanner.rest(), false) : malformed(line, "no newline at the end");
}

}  // namespace

bool LogLine::isDebug() const {
  for (const char* szPattern : DEBUG_LINES) {
    if (form == Form::LINE && matchesPattern(szPattern, strText)) {
      return true;
    }
  }
  return false;
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
  constexpr std::array FORMS = {"failure", "line", "direct line", "MALFORMED line"};
  out << FORMS[static_cast<size_t>(line.form)] << " \"" << line.strText << "\" of " << line.strSource << ":"
      << line.iLine;
  return line.strProblem.empty() ? out : out << " (" << line.strProblem << ")";
}

std::vector<LogLine> parseLog(const std::vector<Journal::Entry>& entries) {
  std::vector<LogLine> lines;
  for (const Journal::Entry& entry : entries) {
    if (entry.kind == Journal::Kind::SYSLOG) {
      lines.push_back(parseSyslog(entry));
    } else if (entry.kind == Journal::Kind::STDOUT) {
      LogLine line;
      line.pid = entry.pid;
      line.blStdout = true;
      // Text that does not begin a line continues the previous line.
      if (beginsStdoutLine(entry, line) || lines.empty() || !lines.back().blStdout || lines.back().pid != entry.pid) {
        lines.push_back(line);
      }
      lines.back().strRaw += entry.strText;
    }
  }
  for (LogLine& line : lines) {
    line = line.blStdout ? parseStdout(line) : line;
  }
  return lines;
}

}  // namespace OrvaTest
