/// \file message.h
/// The message for the mail program.

#pragma once

#include <string>
#include <string_view>

#include "mail/mail_template.h"

namespace orva {

/// The longest body, before its encoding: 1 MiB.
constexpr std::size_t CB_BODY_MAX = std::size_t{1} << 20;

struct MessageHead {
  std::string strFrom;  ///< checked address; a local user gets the server's name, here and below
  std::string strTo;
  std::string strListId;    ///< List-Id, for filters of recipients
  std::string strMailName;  ///< the sending server
};

/// Writes a whole message: headers, an empty line, and the encoded text. A body over #CB_BODY_MAX is cut at the end of
/// a line and ends with the template's sentence `Cut`.
std::string composeMessage(const MessageHead& head, const MailTemplate& mail, const PlaceholderValues& mapValue);

}  // namespace orva
