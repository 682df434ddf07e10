#include "systemd_calendar.h"

#include <algorithm>
#include <sys/wait.h>

#include "common/support/program.h"

namespace Host {

namespace {

constexpr std::size_t CB_LONGEST = 255;

bool isCalendarLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view(" -:.,*/~+_@").find(c) != std::string_view::npos;
}

/// Without the end of the line.
std::string firstLine(const std::string& strText) {
  return strText.substr(0, strText.find('\n'));
}

}  // namespace

std::string whyNotCalendarText(std::string_view strCalendar) {
  if (strCalendar.empty() || strCalendar.size() > CB_LONGEST || strCalendar.front() == ' ' ||
      strCalendar.back() == ' ' || !std::all_of(strCalendar.begin(), strCalendar.end(), &isCalendarLetter)) {
    return "is not a calendar expression of systemd, as in \"Mon..Fri 22:30\"";
  }
  return {};
}

Calendar readCalendar(const std::string& strCalendar) {
  std::string strAnswer;
  try {
    const int iStatus = Program({"systemd-analyze", "calendar", "--", strCalendar}).run(strAnswer);
    if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
      return {firstLine(strAnswer), false};
    }
  } catch (const ProgramMissing&) {
    throw Failure("systemd is not installed here, and only systemd fires an event at a time");
  }
  return {"", strAnswer.find("Next elapse: never\n") != std::string::npos};
}

}  // namespace Host
