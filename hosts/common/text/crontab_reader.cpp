#include "crontab_reader.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr char BLANKS[] = " \t";

std::string trimmed(const std::string& strText) {
  const std::size_t cFirst = strText.find_first_not_of(BLANKS);
  return cFirst == std::string::npos ? "" : strText.substr(cFirst, strText.find_last_not_of(BLANKS) - cFirst + 1);
}

std::string unquoted(const std::string& strText) {
  const bool blQuoted =
      strText.size() >= 2 && strText.front() == strText.back() && (strText.front() == '"' || strText.front() == '\'');
  return blQuoted ? strText.substr(1, strText.size() - 2) : strText;
}

/// Takes the next words off a line, with the blanks between them.
std::string takeWords(std::string& strLine, std::size_t cWords) {
  std::size_t cb = 0;
  for (std::size_t c = 0; c < cWords; ++c) {
    cb = strLine.find_first_of(BLANKS, strLine.find_first_not_of(BLANKS, cb));
  }
  const std::string strWords = strLine.substr(0, cb);
  strLine = cb == std::string::npos ? "" : trimmed(strLine.substr(cb));
  return strWords;
}

bool isVariableName(const std::string& strName) {
  const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
  return !strName.empty() && std::isdigit(static_cast<unsigned char>(strName.front())) == 0 &&
         std::all_of(strName.begin(), strName.end(), isPart);
}

/// The first "%" ends the command; the others are line breaks of its input. "\%" is a "%".
void setCommand(CrontabLine& line, const std::string& strText) {
  std::string* pPart = &line.strCommand;
  for (std::size_t i = 0; i < strText.size(); ++i) {
    if (strText[i] == '\\' && i + 1 < strText.size() && strText[i + 1] == '%') {
      *pPart += strText[++i];
    } else if (strText[i] != '%') {
      *pPart += strText[i];
    } else if (pPart == &line.strCommand) {
      pPart = &line.strInput;
    } else {
      *pPart += '\n';
    }
  }
  if (pPart == &line.strInput) {
    *pPart += '\n';
  }
}

class Reader {
public:
  Reader(CrontabKind kind, std::vector<std::string>& vecErrors) : m_kind(kind), m_vecErrors(vecErrors) {}

  void read(const std::string& strLine) {
    ++m_cLine;
    const std::string strText = trimmed(strLine);
    if (strText.empty() || strText.front() == '#') {
      return;
    }
    // A schedule begins with a number, "*" or "@".
    if (std::isdigit(static_cast<unsigned char>(strText.front())) != 0 || strText.find_first_of("*@") == 0) {
      readCommand(strText);
    } else {
      readVariable(strText);
    }
  }

  std::vector<CrontabLine> take() { return std::move(m_vecLines); }

private:
  void error(const std::string& strWhat) { m_vecErrors.push_back(fmt::format("line {}: {}", m_cLine, strWhat)); }

  void readVariable(const std::string& strText) {
    const std::size_t cEquals = strText.find('=');
    const std::string strName = unquoted(trimmed(strText.substr(0, cEquals)));
    if (cEquals == std::string::npos || !isVariableName(strName)) {
      error(fmt::format("\"{}\" is neither a schedule with a command nor NAME=VALUE", strText));
    } else {
      m_mapEnvironment[strName] = unquoted(trimmed(strText.substr(cEquals + 1)));
    }
  }

  void readCommand(std::string strText) {
    CrontabLine line;
    line.cLine = m_cLine;
    line.mapEnvironment = m_mapEnvironment;
    line.strSchedule = takeWords(strText, strText.front() == '@' ? 1 : 5);
    if (m_kind == CrontabKind::SYSTEM) {
      line.strUser = takeWords(strText, 1);
    }
    if (strText.empty()) {
      error(m_kind == CrontabKind::SYSTEM ? "the user or the command is missing" : "the command is missing");
      return;
    }
    setCommand(line, strText);
    m_vecLines.push_back(line);
  }

  CrontabKind m_kind;
  std::vector<std::string>& m_vecErrors;
  std::vector<CrontabLine> m_vecLines;
  std::map<std::string, std::string> m_mapEnvironment;
  std::size_t m_cLine = 0;
};

/// For any shell, and with any character.
std::string quoted(const std::string& strWord) {
  std::string strQuoted = "'";
  for (const char c : strWord) {
    strQuoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return strQuoted + "'";
}

/// A line that the text does not have.
std::string endMark(const std::string& strText) {
  std::string strMark = "END_OF_INPUT";
  while (("\n" + strText).find("\n" + strMark + "\n") != std::string::npos) {
    strMark += '_';
  }
  return strMark;
}

}  // namespace

std::vector<CrontabLine> readCrontab(const std::string& strText, CrontabKind kind,
                                     std::vector<std::string>& vecErrors) {
  Reader reader(kind, vecErrors);
  for (std::size_t cFirst = 0; cFirst < strText.size();) {
    const std::size_t cEnd = std::min(strText.find('\n', cFirst), strText.size());
    reader.read(strText.substr(cFirst, cEnd - cFirst));
    cFirst = cEnd + 1;
  }
  return reader.take();
}

std::string scriptOfCrontabLine(const CrontabLine& line, const std::string& strName) {
  std::string strShell = "/bin/sh";
  std::string strVariables;
  for (const auto& [strVariable, strValue] : line.mapEnvironment) {
    if (strVariable == "SHELL") {
      strShell = strValue;
    } else if (strVariable.compare(0, 4, "MAIL") != 0 && strVariable != "LOGNAME" && strVariable != "USER") {
      // cron keeps the user's own name, and the variables about mail are cron's.
      strVariables += fmt::format("export {}={}\n", strVariable, quoted(strValue));
    }
  }
  if (strShell.empty() || strShell.front() != '/') {
    throw Failure(fmt::format("SHELL={} is not an absolute path", strShell));
  }
  const std::string strMark = endMark(line.strInput);
  const std::string strCommand =
      line.strInput.empty() ? line.strCommand + "\n"
                            : fmt::format("{{ {}\n}} <<'{}'\n{}{}\n", line.strCommand, strMark, line.strInput, strMark);
  // Without the number of the line: other lines may be added above it before the table is imported again.
  return fmt::format("#!{}\n# From {}: {}\n{}cd \"$HOME\" || exit\n{}", strShell, strName, line.strSchedule, strVariables,
                     strCommand);
}

}  // namespace Host
