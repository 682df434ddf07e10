/// \file journal.h
/// Entries for the system's journal.

#pragma once

#include "event_log/log_catalogue.h"

namespace orva {

/// Writes an event to the journal, with separate fields for its code and arguments. Without a journal, it writes to
/// syslog.
/// \param iPriority  priority of syslog().
void writeSystemLog(int iPriority, unsigned int uCode, const EventArguments& arguments, const EventText& text);

}  // namespace orva
