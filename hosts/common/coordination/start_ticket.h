/// \file start_ticket.h
/// The leave to begin an execution, which can be used once.
///
/// Whoever has systemd start a service cannot always know whether it has: the answer may be lost, and asking again may
/// start it again. So the service is given the name of a ticket, and begins only when it can take it; and whoever gives
/// up takes the ticket back, so that nothing begins later that was reported as not begun.

#pragma once

#include <string>

namespace Host {

class StartTicket {
public:
  /// Issues a ticket; whoever knows the name may take it.
  /// \param strName  a name that no other ticket has; a file's.
  /// \throw Failure
  explicit StartTicket(std::string strName);

  const std::string& name() const { return m_strName; }

  /// Takes it back. \return false when it has been taken.
  bool withdraw() const { return take(m_strName); }

  /// Takes a ticket: it is used up then.
  /// \return false when there is none of that name, or no longer.
  /// \throw Failure when that cannot be told.
  static bool take(const std::string& strName);

private:
  std::string m_strName;
};

}  // namespace Host
