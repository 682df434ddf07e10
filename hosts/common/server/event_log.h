/// \file event_log.h
/// The events that the platform has written down, with their texts.
///
/// They stand in one file, a line each, until it is long; then it gets another name, and a new one begins.

#pragma once

#include <ctime>
#include <json/value.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/support/file_follower.h"
#include "event_log_texts.h"

namespace Host {

struct EventLogQuery {
  std::size_t cLines = 0;            ///< how many at most of those that there are, the newest; 0 is all
  std::optional<std::time_t> since;  ///< events of then or later
  std::string strLanguage;           ///< as "enu"
};

/// Gives events, the oldest first: objects with time, level, code, pid and args, as they are written, and `text`.
class EventLog {
public:
  explicit EventLog(EventLogQuery query) : m_query(std::move(query)) {}

  /// What there is.
  std::vector<Json::Value> read();

  /// What has come since the last time, whatever became of the files meanwhile: nothing is left out or given twice.
  std::vector<Json::Value> readNew();

  /// How many lines were no events, since this was asked last.
  std::size_t takeUnreadable() { return std::exchange(m_cUnreadable, 0); }

private:
  std::vector<Json::Value> takeEntries(FileFollower& file);
  std::vector<FileFollower> filesSince() const;
  bool isTooOld(const Json::Value& jEntry) const;
  void addTexts(std::vector<Json::Value>& vecEntries) const;

  EventLogQuery m_query;
  EventLogTexts m_texts;
  std::optional<FileFollower> m_file;  ///< the newest one that has been read
  std::size_t m_cUnreadable = 0;
};

}  // namespace Host
