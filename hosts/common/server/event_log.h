/// \file event_log.h
/// Reads the event log of the platform, with its texts in all languages.
///
/// The log is a file with a line for each event. A long file is renamed, and a new one begins.

#pragma once

#include <ctime>
#include <json/value.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/support/file_follower.h"

namespace Host {

/// The language that the server writes mail in, as "enu".
std::string serverLanguage();

/// The installed texts.
class EventLogTexts {
public:
  EventLogTexts();

  /// The text of an event; in English when the language lacks it; the arguments when there is no text at all.
  /// \param strLanguage  as "enu".
  std::string textOf(const Json::Value& jEvent, const std::string& strLanguage) const;

  /// All languages that have texts.
  std::vector<std::string> languages() const;

private:
  Json::Value m_jCatalogue;  ///< texts by language, by code
};

struct EventLogQuery {
  std::size_t cLines = 0;            ///< the newest events, at most so many; 0 for all
  std::optional<std::time_t> since;  ///< events of this time or later
  std::string strLanguage;           ///< as "enu"
};

/// Gives events, the oldest first: objects with time, level, code, pid and args, as they are written, and `text`.
class EventLog {
public:
  explicit EventLog(EventLogQuery query) : m_query(std::move(query)) {}

  /// Reads the events so far.
  std::vector<Json::Value> read();

  /// Reads new events. None is missed or repeated when files are renamed.
  std::vector<Json::Value> readNew();

  /// How many lines could not be read since the last call.
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
