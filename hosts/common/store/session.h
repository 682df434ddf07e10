/// \file session.h
/// The three handles of the library, for one request.

#pragma once

#include <chrono>
#include <cstdint>

#include "eorvascheduler.h"
#include "orva_platform.h"

namespace Host {

/// Opens the database and both store handles, and closes them in the order that the library needs.
///
/// A session must not be open at a fork: SQLite connections do not survive one.
class Session {
public:
  enum class Store {
    MUST_EXIST,  ///< a missing or empty database is a failure
    CREATE,      ///< a missing database is created, and an empty one gets its tables
  };

  /// \throw Failure when something could not be opened.
  explicit Session(Store store = Store::MUST_EXIST);

  /// Rolls back a transaction that a failed call left open, then closes.
  ~Session();

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// \throw Failure when there is no database.
  static void requireFile();

  OrvaJsonDbApi* tasks() const { return m_pApi; }
  OrvaJsonDbApi* runs() const { return m_pApiResult; }
  sqlite3* db() const { return m_pDb; }

private:
  void open(Store store);
  void close();

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

/// A number that changes when another connection has written to the database. \throw Failure
std::int64_t dataVersion(const Session& session);

/// Several reads see one state of the database.
class Snapshot {
public:
  /// \throw Failure
  explicit Snapshot(const Session& session);
  ~Snapshot();

  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

private:
  sqlite3* m_pDb;
  bool m_blBegun;
};

/// Holds the write lock of the database: nobody changes records between a read and a write.
class WriteLock {
public:
  /// Waits for other writers. \throw Failure when the time is over.
  explicit WriteLock(Session& session, std::chrono::milliseconds limit = std::chrono::seconds(10));

  /// Rolls back unless commit() was called.
  ~WriteLock();

  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

  /// \throw Failure when the changes cannot be made permanent.
  void commit();

private:
  sqlite3* m_pDb;
};

}  // namespace Host
