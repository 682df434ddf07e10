#include "fakes/record_table.h"

#include <algorithm>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>

#include "fakes/call_text.h"

namespace OrvaTest {

namespace {

const std::set<std::string> TASK_COLUMNS = {"task_name",       "event",           "enable",        "depend_on_task",
                                            "operation_type",  "operation",       "owner",         "run_the_same_time",
                                            "notify_enable",   "notify_if_error", "notify_mail",   "status",
                                            "last_start_time", "last_stop_time",  "last_exit_info"};

const std::set<std::string> RESULT_COLUMNS = {"result_id", "task_name",       "start_time",    "stop_time",    "pid",
                                              "exit_info", "event_fire_time", "trigger_event", "run_time_env", "extra"};

bool sameValue(const Json::Value& jLeft, const Json::Value& jRight) {
  if (jLeft.isInt64() && jRight.isInt64()) {
    return jLeft.asInt64() == jRight.asInt64();
  }
  return jLeft == jRight;
}

using Database = std::unique_ptr<sqlite3, int (*)(sqlite3*)>;
using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

// Compiles one statement; null when the text is not one.
Statement compile(const Database& pDb, const std::string& strSql) {
  sqlite3_stmt* pStatement = nullptr;
  const char* szRest = nullptr;
  const int iResult = sqlite3_prepare_v2(pDb.get(), strSql.c_str(), -1, &pStatement, &szRest);
  Statement pResult(pStatement, &sqlite3_finalize);
  return iResult == SQLITE_OK && *szRest == '\0' ? std::move(pResult) : Statement(nullptr, &sqlite3_finalize);
}

void bindValue(const Statement& pStatement, int iIndex, const Json::Value& jValue) {
  if (jValue.isNull()) {
    sqlite3_bind_null(pStatement.get(), iIndex);
  } else if (jValue.isBool()) {
    sqlite3_bind_int(pStatement.get(), iIndex, jValue.asBool() ? 1 : 0);
  } else if (jValue.isInt64()) {
    sqlite3_bind_int64(pStatement.get(), iIndex, jValue.asInt64());
  } else {
    const std::string strText = jValue.isString() ? jValue.asString() : compactJson(jValue);
    sqlite3_bind_text(pStatement.get(), iIndex, strText.data(), static_cast<int>(strText.size()), SQLITE_TRANSIENT);
  }
}

// A real table with the records and, in the column "n", their indexes.
Database tableOf(const std::string& strName, const std::set<std::string>& columns,
                 const std::vector<Json::Value>& records) {
  sqlite3* pRaw = nullptr;
  sqlite3_open(":memory:", &pRaw);
  Database pDb(pRaw, &sqlite3_close);
  std::string strColumns = "n";
  std::string strMarks = "?";
  for (const std::string& strColumn : columns) {
    strColumns += ", \"" + strColumn + "\"";
    strMarks += ", ?";
  }
  sqlite3_exec(pRaw, ("CREATE TABLE \"" + strName + "\" (" + strColumns + ")").c_str(), nullptr, nullptr, nullptr);
  for (size_t i = 0; i < records.size(); ++i) {
    const Statement pInsert = compile(pDb, "INSERT INTO \"" + strName + "\" VALUES (" + strMarks + ")");
    sqlite3_bind_int64(pInsert.get(), 1, static_cast<sqlite3_int64>(i));
    int iIndex = 1;
    for (const std::string& strColumn : columns) {
      bindValue(pInsert, ++iIndex, records[i].get(strColumn, Json::Value()));
    }
    sqlite3_step(pInsert.get());
  }
  return pDb;
}

}  // namespace

RecordTable::RecordTable(const std::string& strName) : m_strName(strName), m_strKey("id") {
  if (strName == "task") {
    m_strKey = "task_name";
    m_columns = TASK_COLUMNS;
  } else if (strName == "task_result") {
    m_strKey = "result_id";
    m_columns = RESULT_COLUMNS;
  }
}

int RecordTable::create(const Json::Value& jIn, Json::Value& jOut) {
  if (!jIn.isObject()) {
    return -1;
  }
  Json::Value jRecord(Json::objectValue);
  for (const std::string& strMember : jIn.getMemberNames()) {
    if (isColumn(strMember)) {
      jRecord[strMember] = jIn[strMember];
    }
  }
  if (!jRecord.isMember(m_strKey)) {
    if (m_strName == "task") {
      return -1;
    }
    jRecord[m_strKey] = m_iNextId++;
  }
  if (isTaken(jRecord[m_strKey], m_records.size())) {
    return -1;
  }
  m_records.push_back(jRecord);
  jOut = jRecord;
  return 0;
}

int RecordTable::list(const Json::Value& jFilter, Json::Value& jOut) const {
  const auto found = find(jFilter);
  if (!found) {
    return -1;
  }
  Json::Value jList(Json::arrayValue);
  for (const size_t i : *found) {
    jList.append(m_records[i]);
  }
  jOut = jList;
  return 0;
}

int RecordTable::update(const Json::Value& jFilter, const Json::Value& jUpdate) {
  if (!jUpdate.isObject() || !jFilter.isObject() || jFilter.isMember("orvaSqlWhereFilter")) {
    return -1;
  }
  const auto found = find(jFilter);
  if (!found) {
    return -1;
  }
  for (const size_t i : *found) {
    if (jUpdate.isMember(m_strKey) && isTaken(jUpdate[m_strKey], i)) {
      return -1;
    }
    for (const std::string& strMember : jUpdate.getMemberNames()) {
      if (isColumn(strMember)) {
        m_records[i][strMember] = jUpdate[strMember];
      }
    }
  }
  return static_cast<int>(found->size());
}

int RecordTable::remove(const Json::Value& jIn, bool blMustExist) {
  if (!jIn.isObject() || !jIn.isMember(m_strKey)) {
    return -1;
  }
  const Json::Value jKey = jIn[m_strKey];
  const auto cRemoved =
      std::erase_if(m_records, [&](const Json::Value& jRecord) { return sameValue(jRecord[m_strKey], jKey); });
  return cRemoved == 0 && blMustExist ? -1 : static_cast<int>(cRemoved);
}

void RecordTable::put(const Json::Value& jRecord) {
  if (!jRecord.isObject() || !jRecord.isMember(m_strKey)) {
    throw std::invalid_argument("a record of " + m_strName + " needs " + m_strKey);
  }
  const Json::Value jKey = jRecord[m_strKey];
  remove(jRecord, false);
  if (jKey.isInt()) {
    m_iNextId = std::max(m_iNextId, jKey.asInt() + 1);
  }
  m_records.push_back(jRecord);
}

Json::Value RecordTable::record(const Json::Value& jKey) const {
  for (const Json::Value& jRecord : m_records) {
    if (sameValue(jRecord[m_strKey], jKey)) {
      return jRecord;
    }
  }
  return {};
}

std::vector<Json::Value> RecordTable::records() const {
  std::vector<Json::Value> sorted = m_records;
  std::sort(sorted.begin(), sorted.end(),
            [&](const auto& jLeft, const auto& jRight) { return jLeft[m_strKey] < jRight[m_strKey]; });
  return sorted;
}

std::optional<std::vector<size_t>> RecordTable::find(const Json::Value& jFilter) const {
  if (!jFilter.isObject()) {
    return std::nullopt;
  }
  std::vector<size_t> found;
  if (jFilter.isMember("orvaSqlWhereFilter")) {
    const Json::Value& jWhere = jFilter["orvaSqlWhereFilter"];
    const auto byText = jFilter.size() == 1 && jWhere.isString() ? findByText(jWhere.asString()) : std::nullopt;
    if (!byText) {
      return std::nullopt;
    }
    found = *byText;
  } else {
    const auto members = jFilter.getMemberNames();
    if (!std::all_of(members.begin(), members.end(), [&](const auto& strMember) { return isColumn(strMember); })) {
      return std::nullopt;
    }
    for (size_t i = 0; i < m_records.size(); ++i) {
      if (std::all_of(members.begin(), members.end(), [&](const auto& strMember) {
            return m_records[i].isMember(strMember) && sameValue(m_records[i][strMember], jFilter[strMember]);
          })) {
        found.push_back(i);
      }
    }
  }
  std::sort(found.begin(), found.end(),
            [&](size_t i, size_t j) { return m_records[i][m_strKey] < m_records[j][m_strKey]; });
  return found;
}

// SQLite executes the text, so errors in it are found.
std::optional<std::vector<size_t>> RecordTable::findByText(const std::string& strWhere) const {
  std::set<std::string> columns = m_columns;
  for (const Json::Value& jRecord : m_records) {
    const auto members = jRecord.getMemberNames();
    columns.insert(members.begin(), members.end());
  }
  const Database pDb = tableOf(m_strName, columns, m_records);
  const Statement pSelect = compile(pDb, "SELECT n FROM \"" + m_strName + "\" WHERE " + strWhere);
  if (!pSelect) {
    return std::nullopt;
  }
  std::vector<size_t> found;
  int iStep = 0;
  while ((iStep = sqlite3_step(pSelect.get())) == SQLITE_ROW) {
    found.push_back(static_cast<size_t>(sqlite3_column_int64(pSelect.get(), 0)));
  }
  return iStep == SQLITE_DONE ? std::optional(found) : std::nullopt;
}

bool RecordTable::isTaken(const Json::Value& jKey, size_t iExcept) const {
  for (size_t i = 0; i < m_records.size(); ++i) {
    if (i != iExcept && sameValue(m_records[i][m_strKey], jKey)) {
      return true;
    }
  }
  return false;
}

}  // namespace OrvaTest
