/// \file event_log.h
/// The events that the platform has written down, with their texts.

#pragma once

#include <ctime>
#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

namespace Host {

struct EventLogQuery {
  std::size_t cLines = 0;            ///< how many at most, the newest; 0 is all
  std::optional<std::time_t> since;  ///< events of then or later
  std::string strLanguage;           ///< as "enu"
};

/// Reads events, the oldest first.
/// \param cUnreadable  receives the number of lines that are no events.
/// \return objects with time, level, code, pid and args, as they are written, and `text`, in the language, or in
///         English when there is none in it.
std::vector<Json::Value> readEventLog(const EventLogQuery& query, std::size_t& cUnreadable);

/// The languages that there are texts in.
std::vector<std::string> eventLanguages();

}  // namespace Host
