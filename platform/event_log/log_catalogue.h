/// \file log_catalogue.h
/// Texts of the events: the files /usr/orva/share/log/NAME.json, each an object
///
///     {"0x14400004": {"message_id": "32 hex digits", "enu": "Task \"%1\" was created.", "ger": ...}, ...}
///
/// with one text a language. "%1" to "%4" stand for the event's arguments. The member "fields" names fields of the
/// journal for them, and for the person who caused the event: {"1": "EORVA_TASK", "by": "EORVA_BY"}.

#pragma once

#include <array>
#include <json/value.h>
#include <map>
#include <string>

namespace orva {

using EventArguments = std::array<std::string, 4>;

/// The code as in the catalogue, for example "0x14400004".
std::string eventCodeText(unsigned int uCode);

/// Reads the whole catalogue. Files that cannot be read are logged and skipped.
Json::Value loadLogCatalogue();

struct EventText {
  std::string strText;                                ///< in English, with the arguments
  std::string strMessageId;                           ///< empty when the catalogue has none
  std::map<std::string, std::string> mapFields = {};  ///< the journal's fields, with their values
};

/// Finds the text of an event. If the code is not in the catalogue, the text has the code and the arguments.
/// \param strBy  who caused it; may be empty.
EventText eventText(const Json::Value& jCatalogue, unsigned int uCode, const EventArguments& arguments,
                    const std::string& strBy);

}  // namespace orva
