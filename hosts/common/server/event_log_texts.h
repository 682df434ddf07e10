/// \file event_log_texts.h
/// The texts of the event log, in all languages.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

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

}  // namespace Host
