/// \file database.h
/// A database with tasks and runs, in memory-backed files where there are any: the disk is not what is measured.

#pragma once

#include <json/value.h>
#include <memory>
#include <string>

#include "orva_platform.h"

struct sqlite3;

/// The database of one benchmark, removed with it.
class BenchDatabase {
public:
  /// \param cTasks  number of tasks, "task0" and on; each waits for the one before.
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

/// A task with every member that the engine and the hosts write.
Json::Value wholeTask(const std::string& strName, const std::string& strWaitsFor);

/// A run as it is admitted.
Json::Value openRun(const std::string& strTask);

/// Ends the program when a call of the set-up or of a measured operation did not succeed.
void require(bool blSucceeded, const char* szWhat);
