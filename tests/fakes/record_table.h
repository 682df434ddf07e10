/// \file record_table.h
/// The records of one table, in memory.

#pragma once

#include <json/value.h>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace OrvaTest {

class RecordTable {
public:
  /// The tables `task` and `task_result` have the columns of real ones; any other name takes every member.
  explicit RecordTable(const std::string& strName);

  /// \name The operations of a record store; the results are those of OrvaJsonDbApi.
  /// @{
  int create(const Json::Value& jIn, Json::Value& jOut);
  int list(const Json::Value& jFilter, Json::Value& jOut) const;
  int update(const Json::Value& jFilter, const Json::Value& jUpdate);
  int remove(const Json::Value& jIn, bool blMustExist);
  /// @}

  /// Stores members without a column, too.
  void keepUnknownMembers() { m_columns.clear(); }

  /// Stores a record unchanged, replacing the one with the same key.
  void put(const Json::Value& jRecord);
  /// The record with that key, null when there is none.
  Json::Value record(const Json::Value& jKey) const;
  /// Every record, in the order of the key.
  std::vector<Json::Value> records() const;

private:
  bool isColumn(const std::string& strMember) const { return m_columns.empty() || m_columns.contains(strMember); }
  std::optional<std::vector<size_t>> find(const Json::Value& jFilter) const;
  std::optional<std::vector<size_t>> findByText(const std::string& strWhere) const;
  bool isTaken(const Json::Value& jKey, size_t iExcept) const;

  std::string m_strName;
  std::string m_strKey;
  std::set<std::string> m_columns;  // empty: every member is a column
  std::vector<Json::Value> m_records;
  int m_iNextId = 1;
};

}  // namespace OrvaTest
