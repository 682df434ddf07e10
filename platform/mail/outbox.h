/// \file outbox.h
/// The outbox, where mail waits for the mail program: /var/spool/orva/outbox, one file a message.
///
/// A file begins with a line "FROM TO", the envelope; the message follows. It appears complete or not at all, has mode
/// 0600, and is locked (flock) by the process that hands it over.

#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "support/unique_fd.h"

namespace orva {

constexpr std::size_t C_OUTBOX_MAX = 500;                           ///< limit of messages
constexpr std::size_t CB_OUTBOX_MAX = std::size_t{64} << 20;        ///< limit of bytes
constexpr std::time_t OUTBOX_SECONDS_MAX = std::time_t{5} * 86400;  ///< limit of a message's age

/// A message in the outbox, locked while this object exists.
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
  /// Opens the folder, and creates it if it is missing.
  /// \return nothing when it cannot be created or belongs to another user; `errno` has the reason.
  static std::optional<Outbox> open();

  /// Adds a message, from the beginning of a file. \return nothing when it cannot be stored; `errno` has the reason
  /// (ENOSPC: the outbox is full).
  std::optional<OutboxEntry> put(int fdMessage) const;

  /// Names of the waiting messages, oldest first.
  std::vector<std::string> names() const;

  /// Locks a message; nothing when another process is handing it over, or it no longer exists.
  std::optional<OutboxEntry> lock(const std::string& strName) const;

  void remove(const OutboxEntry& entry) const;

  /// Locks the whole outbox for handing over; false when another process has the lock.
  bool lockAll() const;

private:
  explicit Outbox(UniqueFd fdFolder) : m_fdFolder(std::move(fdFolder)) {}
  bool hasRoomFor(std::size_t cbMessage) const;

  UniqueFd m_fdFolder;
};

}  // namespace orva
