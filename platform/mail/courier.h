/// \file courier.h
/// Hands messages over to the mail program.

#pragma once

#include <string>

#include "process/run.h"

namespace orva {

/// Starts a separate process that hands over a message. It keeps the message in the outbox until the mail program has
/// taken it, and then tries the other messages there. The caller waits only until this process has started, and has no
/// child left.
/// \param strFrom     checked sender address.
/// \param strTo       checked address of the recipient.
/// \param strMessage  the message.
/// \return 0; -1 with a code in `errno` when no process could be started.
int sendDetached(const std::string& strFrom, const std::string& strTo, const std::string& strMessage);

/// Hands over one message now, through the outbox, and then the others there. For the courier's process.
/// \param fdMessage  file with the envelope line and the message.
void deliverAndFlush(int fdMessage, const RunLimits& limits);

/// Tries once to hand over all messages in the outbox.
/// \return the number of messages that still wait; -1 when the outbox cannot be opened.
int flushOutbox(const RunLimits& limits);

/// Time limits of the mail program.
constexpr RunLimits COURIER_LIMITS{std::chrono::minutes(5), std::chrono::seconds(10)};

}  // namespace orva
