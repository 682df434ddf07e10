/// \file transaction.h
/// A transaction of the store's own.

#pragma once

struct sqlite3;

namespace record_store {

/// Holds the write lock until it is committed; rolled back when it goes out of scope before.
class Transaction {
public:
  /// Waits for the write lock: a transaction that reads first could not be tried again.
  explicit Transaction(sqlite3* pDb);
  ~Transaction();

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

private:
  sqlite3* m_pDb;
};

}  // namespace record_store
