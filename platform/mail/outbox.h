/// \file outbox.h
/// Where mail waits until the mail program has taken it: /var/spool/orva/outbox, one file a message.
///
/// A file begins with a line "FROM TO", the envelope, and goes on with the message. It appears whole or not at all,
/// has mode 0600, and is locked (flock) by the process that is handing it over.

#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "support/unique_fd.h"

namespace orva {

constexpr std::size_t C_OUTBOX_MAX = 500;                           ///< messages that are kept
constexpr std::size_t CB_OUTBOX_MAX = std::size_t{64} << 20;        ///< bytes that are kept
constexpr std::time_t OUTBOX_SECONDS_MAX = std::time_t{5} * 86400;  ///< how long a message is kept

/// A message in the outbox, locked for as long as this lives.
class OutboxEntry {
public:
  OutboxEntry(std::string strName, UniqueFd fd) : m_strName(std::move(strName)), m_fd(std::move(fd)) {}
  const std::string& name() const { return m_strName; }
  int fd() const { return m_fd.get(); }

private:
  std::string m_strName;
  UniqueFd m_fd;
};

class Outbox {
public:
  /// Opens the folder, making it when it is missing.
  /// \return nothing when it cannot be made, or belongs to somebody else; `errno` says why.
  static std::optional<Outbox> open();

  /// Puts a message in, from the beginning of a file; nothing when it cannot be kept, and `errno` says why (ENOSPC:
  /// there are too many already).
  std::optional<OutboxEntry> put(int fdMessage) const;

  /// Names of what waits, oldest first.
  std::vector<std::string> names() const;

  /// Locks a message; nothing when another process hands it over, or it is gone.
  std::optional<OutboxEntry> lock(const std::string& strName) const;

  void remove(const OutboxEntry& entry) const;

  /// Lets one process at a time go through what waits; false when another one does.
  bool lockAll() const;

private:
  explicit Outbox(UniqueFd fdFolder) : m_fdFolder(std::move(fdFolder)) {}
  bool hasRoomFor(std::size_t cbMessage) const;

  UniqueFd m_fdFolder;
};

}  // namespace orva
