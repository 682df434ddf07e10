/// \file old_database.h
/// A database of schema version 0: the tables as they were before there were versions.

#pragma once

#include <json/value.h>
#include <string>

struct sqlite3;

constexpr int OLD_TASKS = 12;

/// The number of the last run; its record was deleted again.
constexpr int OLD_LAST_NUMBER = 31;

/// Makes the tables and fills them.
void makeOldTables(sqlite3* pDb);

/// Makes the file.
void makeOldDatabase(const std::string& strPath);

/// Fails the test when the file is no sound database of version 0 with all its rows.
void expectOldDatabase(const std::string& strPath);

/// Its rows, as a store of today lists them.
Json::Value oldTasksAsRead();
Json::Value oldResultsAsRead();
