/// \file old_database.h
/// A database of schema version 0, with the tables from before schema versions existed.

#pragma once

#include <json/value.h>
#include <string>

struct sqlite3;

constexpr int OLD_TASKS = 12;

/// The number of the last run, whose record was deleted.
constexpr int OLD_LAST_NUMBER = 31;

/// Creates and fills the tables.
void makeOldTables(sqlite3* pDb);

/// Creates the file.
void makeOldDatabase(const std::string& strPath);

/// Fails the test unless the file is an intact database of version 0 with all its rows.
void expectOldDatabase(const std::string& strPath);

/// Its rows, as the current store lists them.
Json::Value oldTasksAsRead();
Json::Value oldResultsAsRead();
