/// \file database.h
/// A database with tasks and runs, in memory if possible, because the disk is not measured.

#pragma once

#include <json/value.h>
#include <memory>
#include <string>

#include "orva_platform.h"

struct sqlite3;

/// The database of one benchmark. The destructor removes it.
class BenchDatabase {
public:
  /// \param cTasks  number of tasks, from "task0" on; each waits for the previous one.
  /// \param cRuns   number of runs of "task0".
  BenchDatabase(int cTasks, int cRuns);
  ~BenchDatabase();

  BenchDatabase(const BenchDatabase&) = delete;
  BenchDatabase& operator=(const BenchDatabase&) = delete;

  sqlite3* connection() const { return m_pDb; }
  OrvaJsonDbApi& tasks() { return *m_pTasks; }
  OrvaJsonDbApi& results() { return *m_pResults; }

private:
  std::string m_strFolder;
  sqlite3* m_pDb = nullptr;
  std::unique_ptr<OrvaJsonDbApi> m_pTasks;
  std::unique_ptr<OrvaJsonDbApi> m_pResults;
};

/// A task with all members that the engine and the hosts write.
Json::Value wholeTask(const std::string& strName, const std::string& strWaitsFor);

/// A run at its start.
Json::Value openRun(const std::string& strTask);

/// Ends the program when a call of the set-up or of a measured operation failed.
void require(bool blSucceeded, const char* szWhat);
