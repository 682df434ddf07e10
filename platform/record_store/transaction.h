/// \file transaction.h
/// A transaction of the store.

#pragma once

struct sqlite3;

namespace record_store {

/// A transaction that has the write lock. It is rolled back when it goes out of scope without a commit.
class Transaction {
public:
  /// Waits for the write lock, because a transaction that reads first could not be retried.
  explicit Transaction(sqlite3* pDb);
  ~Transaction();

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit();

private:
  sqlite3* m_pDb;
};

}  // namespace record_store
