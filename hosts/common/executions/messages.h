/// \file messages.h
/// Messages from the processes of an execution to its starter.
///
/// They have no terminal: a script could take the descriptors of the shell above it. So messages go through a pipe to
/// the starter, which shows them, and to the system log when the starter has ended.

#pragma once

#include <string>

namespace Host {

/// The processes of an execution write their messages to this descriptor from now on. It is borrowed.
void sendMessagesTo(int fd);

/// Sends a message; without a line break.
void sendMessage(const std::string& strText);

}  // namespace Host
