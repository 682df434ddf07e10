/// \file catalogue_fixture.h
/// Helpers for tests of the catalogue: graphs of tasks, and short names for walks over them.

#pragma once

#include "fakes/eorva_test.h"

namespace OrvaTest {

class CatalogueTest : public HandlesTest {
protected:
  /// Stores a task with its name, dependency list and event.
  static void putTask(const std::string& strName, const std::string& strDependOn = "",
                      const std::string& strEvent = "bootup") {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = strName;
    jTask["depend_on_task"] = strDependOn;
    jTask["event"] = strEvent;
    fakes().put("task", jTask);
  }

  /// The list of a stored task.
  static std::string listOf(const std::string& strName) {
    return fakes().record("task", strName)["depend_on_task"].asString();
  }

  static Json::Value request(const std::string& strName) {
    Json::Value jRequest(Json::objectValue);
    jRequest["task_name"] = strName;
    return jRequest;
  }

  /// The names of an array of records.
  static std::vector<std::string> names(const Json::Value& jRecords) {
    std::vector<std::string> result;
    for (const Json::Value& jRecord : jRecords) {
      result.push_back(jRecord["task_name"].asString());
    }
    return result;
  }

  /// The filters of the listings so far, in order.
  static std::vector<std::string> listings() {
    std::vector<std::string> result;
    const std::string strStart = "recList(task, ";
    for (const std::string& strCall : fakes().calls()) {
      if (strCall.starts_with(strStart)) {
        result.push_back(strCall.substr(strStart.size(), strCall.size() - strStart.size() - 1));
      }
    }
    return result;
  }

  /// The filter that finds a task by its name.
  static std::string byName(const std::string& strName) { return compactJson(request(strName)); }

  /// The filter with a WHERE clause.
  static std::string byText(const std::string& strWhere) {
    Json::Value jFilter(Json::objectValue);
    jFilter["orvaSqlWhereFilter"] = strWhere;
    return compactJson(jFilter);
  }

  /// Ends the transaction that a failure left open, if it did.
  void rollBack() {
    if (sqlite3_get_autocommit(m_pDb) == 0) {
      EXPECT_EQ(sqlite3_exec(m_pDb, "ROLLBACK", nullptr, nullptr, nullptr), SQLITE_OK);
    }
  }

  int walk(bool blBottomUp, const std::string& strName, Json::Value& jOut, const std::string& strEvent = "",
           bool blReserved = true) {
    Json::Value jRequest = request(strName);
    return recListRelateEx(m_pApi, jRequest, jOut, m_pDb, blBottomUp, strEvent, blReserved);
  }
};

}  // namespace OrvaTest
