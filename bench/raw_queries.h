/// \file raw_queries.h
/// The baseline: the same work in plain SQLite, with a statement that is prepared and finalised in each call. Values
/// are ready texts and numbers, and every column of every row is read once.

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
