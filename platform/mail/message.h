/// \file message.h
/// The message as it is handed to the mail program.

#pragma once

#include <string>
#include <string_view>

#include "mail/mail_template.h"

namespace orva {

/// The longest body, before its encoding: 1 MiB.
constexpr std::size_t CB_BODY_MAX = std::size_t{1} << 20;

struct MessageHead {
  std::string strFrom;  ///< checked address; a local user's gets the server's name, here and below
  std::string strTo;
  std::string strListId;    ///< what receivers can filter on, a domain of its own
  std::string strMailName;  ///< the sending server
};

/// Writes a whole message: headers, an empty line, and the text with the lines and the encoding that mail needs.
/// A body over #CB_BODY_MAX is cut at the end of a line, and ends with the template's sentence that says so.
std::string composeMessage(const MessageHead& head, const MailTemplate& mail, const PlaceholderValues& mapValue);

}  // namespace orva
