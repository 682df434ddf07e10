/// \file log_catalogue.h
/// Texts of the events: the files /usr/orva/share/log/NAME.json, each an object
///
///     {"0x14400004": {"message_id": "32 hex digits", "enu": "Task \"%1\" was created.", "ger": ...}, ...}
///
/// with one text a language. "%1" to "%4" stand for the event's arguments.

#pragma once

#include <array>
#include <json/value.h>
#include <string>

namespace orva {

using EventArguments = std::array<std::string, 4>;

/// The catalogue's name of a code: "0x14400004".
std::string eventCodeText(unsigned int uCode);

/// Reads the whole catalogue; what cannot be read is logged and left out.
Json::Value loadLogCatalogue();

struct EventText {
  std::string strText;       ///< in English, arguments filled in
  std::string strMessageId;  ///< empty when the catalogue has none
};

/// Finds the text of an event. A code that is not in the catalogue is shown with its arguments.
EventText eventText(const Json::Value& jCatalogue, unsigned int uCode, const EventArguments& arguments);

}  // namespace orva
