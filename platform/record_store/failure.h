/// \file failure.h
/// The record store's internal failures: exceptions that the five operations convert to -1 and one log line.

#pragma once

#include <fmt/format.h>
#include <stdexcept>
#include <string>

struct sqlite3;

namespace record_store {

/// Whether a failed step may succeed later.
enum class Later {
  NO,
  BUSY,   ///< another process uses the database
  WRITE,  ///< the disk is full or has an error; only a write is worth waiting for
};

/// A failed step of an operation, with a reason as text and a code for the platform's last error.
class StoreFailure : public std::runtime_error {
public:
  /// \param iCode      `errno` value.
  /// \param szFile     source file that detected it; a literal.
  /// \param iLine      source line.
  /// \param strReason  the reason, without the table and the operation, which the operation adds.
  /// \param later      whether the same step may succeed later.
  StoreFailure(int iCode, const char* szFile, int iLine, const std::string& strReason, Later later = Later::NO)
      : std::runtime_error(strReason), m_iCode(iCode), m_szFile(szFile), m_iLine(iLine), m_later(later) {}

  int code() const { return m_iCode; }
  const char* file() const { return m_szFile; }
  int line() const { return m_iLine; }
  Later later() const { return m_later; }

private:
  int m_iCode;
  const char* m_szFile;
  int m_iLine;
  Later m_later;
};

/// Makes the failure for a result code of SQLite, with the connection's error text.
StoreFailure sqliteFailure(sqlite3* pDb, int iResult, const char* szFile, int iLine);

/// Writes the one log line of a failed operation and records the platform's last error.
/// \param szOperation  public name of the operation.
void reportFailure(const std::string& strTable, const char* szOperation, const std::exception& failure);

}  // namespace record_store

/// Throws a failure with a reason in the form of fmt::format().
#define RAISE(iCode, ...) throw ::record_store::StoreFailure((iCode), __FILE_NAME__, __LINE__, fmt::format(__VA_ARGS__))

/// Throws the failure that SQLite reported.
#define RAISE_SQLITE(pDb, iResult) throw ::record_store::sqliteFailure((pDb), (iResult), __FILE_NAME__, __LINE__)
