/// \file raw_queries.h
/// The measure: the same work in plain SQLite, a statement prepared for each call and finalised after it. Values go in
/// as ready texts and numbers, and every column of every row is looked at once.

#pragma once

#include <string>

struct sqlite3;

void rawInsertRun(sqlite3* pDb);
void rawUpdateWholeTask(sqlite3* pDb);
void rawUpdateStartTime(sqlite3* pDb, int iTime);
void rawReadTask(sqlite3* pDb);

/// \return the number of rows.
int rawListRuns(sqlite3* pDb);
int rawListByPattern(sqlite3* pDb, const std::string& strWhere);
