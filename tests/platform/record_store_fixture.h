/// \file record_store_fixture.h
/// Helpers for tests of the record store: a folder, a database, captured log lines, a controlled clock.

#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "orva_platform.h"

/// Parses JSON text; fails the test when it is invalid.
Json::Value parse(const std::string& strText);

/// The compact text of a value.
std::string text(const Json::Value& jValue);

/// Reads a whole file.
std::string readFile(const std::string& strPath);

/// The installed definitions and creation SQL.
const Json::Value& installedDefinitions();
const std::string& installedSql();

/// The schema version that they describe, and the SQL that sets one.
int installedSchema();
std::string setSchema(int iSchema);

/// A folder that is removed with the test.
class TempFolder {
public:
  TempFolder();
  ~TempFolder();

  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string path(const std::string& strName) const { return m_strPath + "/" + strName; }

private:
  std::string m_strPath;
};

struct CloseDatabase {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

/// Opens a database as the library does: foreign keys enforced, no busy time-out.
Database openDatabase(const std::string& strPath, int iFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);

/// Runs SQL; fails the test on an error.
void runSql(sqlite3* pDb, const std::string& strSql);

/// The first column of the first row, as text.
std::string queryText(sqlite3* pDb, const std::string& strSql);

/// Syslog lines of this process since the last call, "PRIORITY TEXT" each.
std::vector<std::string> takeLogLines();

/// Replaces clock_gettime() and nanosleep(): time passes only by sleeping.
class TurnedClock {
public:
  TurnedClock();
  ~TurnedClock();

  TurnedClock(const TurnedClock&) = delete;
  TurnedClock& operator=(const TurnedClock&) = delete;

  /// The pauses that were slept, in nanoseconds.
  const std::vector<long long>& pauses() const;

  long long slept() const;

  /// Runs an action at the beginning of the n-th pause (from 1).
  void atPause(std::size_t iPause, void (*pAction)(void*), void* pContext);
};

/// A database with the installed tables, and a handle to each. Unexpected log lines fail the test.
class RecordStore : public testing::Test {
protected:
  RecordStore();
  void TearDown() override;

  /// The lines that the test expects, all of them.
  void expectLog(const std::vector<std::string>& lines);

  /// One line that contains a text, after "3 orvaplatform: record store, table ".
  void expectFailure(const std::string& strText);

  /// A task with the required members and the given members.
  static Json::Value task(const std::string& strName, const std::string& strMembers = "{}");

  /// Creates a task; fails the test when the store refuses it.
  void add(const Json::Value& jTask);

  TempFolder m_folder;
  Database m_pDb;
  OrvaJsonDbApi m_tasks;
  OrvaJsonDbApi m_results;
};
