/// \file event_file.h
/// The event file, /var/log/orva/event.jsonl: one JSON object a line,
///
///     {"args":["backup"],"code":"0x14400004","level":1,"pid":812,"time":1700000000}
///
/// Before the file would exceed 5 MB, it is renamed to event.jsonl.1, the old .1 to .2, and so on up to .5.

#pragma once

#include "event_log/log_catalogue.h"

namespace orva {

/// Appends an event.
/// \param strBy  who caused it, the member "by"; left out when it is empty.
/// \return 0, or an errno value.
int appendToEventFile(int iLevel, unsigned int uCode, const EventArguments& arguments, const std::string& strBy);

}  // namespace orva
