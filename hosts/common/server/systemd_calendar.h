/// \file systemd_calendar.h
/// Calendar expressions of systemd, as in "Mon..Fri 22:30".

#pragma once

#include <string>
#include <string_view>

namespace Host {

/// Checks the characters only. They cannot add a line to a unit file, so a text from anybody may be written there.
/// \return what is wrong; empty when nothing is.
std::string whyNotCalendarText(std::string_view strCalendar);

/// A calendar expression as systemd reads it.
struct Calendar {
  std::string strWhyNot;  ///< what systemd says about a wrong one; empty for a right one
  bool blOver = false;    ///< all its times are in the past
};

/// Asks systemd. \throw Failure when systemd is not installed.
Calendar readCalendar(const std::string& strCalendar);

}  // namespace Host
