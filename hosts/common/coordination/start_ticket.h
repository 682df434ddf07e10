/// \file start_ticket.h
/// Lets an execution start once.
///
/// The answer of systemd to a start can be lost, and a second request may start the service twice. So the service gets
/// the name of a ticket, and starts only if it can take the ticket. A starter that gives up withdraws the ticket, so
/// that the service cannot start later.
///
/// The ticket also holds secrets: every user can read command lines and properties of units.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Host {

class StartTicket {
public:
  /// Issues a ticket.
  /// \param strName     a file name that no other ticket has.
  /// \param vecSecrets  texts for the taker; they may hold any byte but 0.
  /// \throw Failure
  StartTicket(std::string strName, const std::vector<std::string>& vecSecrets);

  const std::string& name() const { return m_strName; }

  /// Withdraws the ticket. \return false when it was taken already.
  bool withdraw() const { return take(m_strName).has_value(); }

  /// Takes a ticket, which works once.
  /// \return its texts; nothing when there is no such ticket, or no longer.
  /// \throw Failure
  static std::optional<std::vector<std::string>> take(const std::string& strName);

private:
  std::string m_strName;
};

}  // namespace Host
