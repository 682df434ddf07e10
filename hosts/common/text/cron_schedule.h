/// \file cron_schedule.h
/// Schedules as cron writes them.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Host {

/// Translates a schedule of cron into calendar expressions of systemd.timer, which together elapse when cron would
/// start the command.
///
/// If both the day of the month and the day of the week are restricted, cron starts the command on days that match
/// either; a calendar expression wants both. So such a schedule becomes two expressions.
/// \param strSchedule  five fields, as in "30 2 * * 1-5", or "@daily" and the like; not "@reboot".
/// \throw Failure that names the field.
std::vector<std::string> calendarsOfCron(std::string_view strSchedule);

}  // namespace Host
