/// \file session.h
/// The three handles of the library, for as long as one request lasts.

#pragma once

#include <chrono>

#include "eorvascheduler.h"
#include "orva_platform.h"

namespace Host {

/// Opens the database and both store handles, and releases them in the order that the library wants.
///
/// A session must not live across a fork: SQLite connections do not survive one.
class Session {
public:
  enum class Store {
    MUST_EXIST,  ///< a missing database is a failure
    CREATE,      ///< a missing database is created
  };

  /// \throw Failure when something could not be opened.
  explicit Session(Store store = Store::MUST_EXIST);

  /// Rolls back what a failed call left open, then closes.
  ~Session();

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  OrvaJsonDbApi* tasks() const { return m_pApi; }
  OrvaJsonDbApi* runs() const { return m_pApiResult; }
  sqlite3* db() const { return m_pDb; }

private:
  void open();
  void close();

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

/// Holds the database's write lock, so that what is read meanwhile still holds when it is written.
class WriteLock {
public:
  /// Waits for another writer.
  /// \throw Failure when the lock cannot be had in that time.
  explicit WriteLock(Session& session, std::chrono::milliseconds limit = std::chrono::seconds(10));

  /// Rolls back what was not committed.
  ~WriteLock();

  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

  /// \throw Failure when the changes cannot be made permanent.
  void commit();

private:
  sqlite3* m_pDb;
};

}  // namespace Host
