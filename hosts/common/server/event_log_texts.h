/// \file event_log_texts.h
/// What the codes of the event log mean, in the languages that there are.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// The language that the server writes mail in, as "enu".
std::string serverLanguage();

/// The texts as they are installed.
class EventLogTexts {
public:
  EventLogTexts();

  /// The text of an event, in English when there is none in the language; one without a text is its arguments.
  /// \param strLanguage  as "enu".
  std::string textOf(const Json::Value& jEvent, const std::string& strLanguage) const;

  /// The languages that there are texts in.
  std::vector<std::string> languages() const;

private:
  Json::Value m_jCatalogue;  ///< texts by language, by code
};

}  // namespace Host
