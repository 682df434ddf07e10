// Creates, changes, renames and deletes tasks, and updates the lists of the tasks that wait for them.

#include <sqlite3.h>

#include "orva_platform.h"

#include "catalogue/depend_list.h"
#include "catalogue/records.h"
#include "store/database.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/event_log.h"
#include "support/json_read.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

// The entry to find in the lists of other tasks, and its replacement.
struct EntryChange {
  std::string strSearch;
  std::string strReplacement;
};

// The BEGIN and COMMIT of a change. If the last of them failed with an error text, the text is logged when the
// operation ends.
class Transaction {
public:
  explicit Transaction(sqlite3* pDb) : m_pDb(pDb) {}
  ~Transaction() {
    if (m_pErrMsg) {
      LOG_ERROR("szErrMsg=%s", m_pErrMsg.get());
    }
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // Deliberately, there is no roll-back: after a failure, the host rolls back or closes the connection.
  int begin() {
    FAIL_IF_AS(SQLITE_OK != exec("BEGIN;"), "SQLITE_OK != sqlite3_exec(pDb, \"BEGIN;\", NULL, NULL, &szErrMsg)");
    return 0;
  }

  int commit() {
    FAIL_IF_AS(SQLITE_OK != exec("COMMIT;"), "SQLITE_OK != sqlite3_exec(pDb, \"COMMIT;\", NULL, NULL, &szErrMsg)");
    return 0;
  }

private:
  int exec(const char* szSql) {
    char* szErrMsg = nullptr;
    const int iResult = sqlite3_exec(m_pDb, szSql, nullptr, nullptr, &szErrMsg);
    m_pErrMsg.reset(szErrMsg);
    return iResult;
  }

  sqlite3* m_pDb;
  SqlText m_pErrMsg;
};

// A rename request is about the task with the old name.
Json::Value oldNameFilter(const Json::Value& jIn) {
  Json::Value jFilter(Json::objectValue);
  jFilter["task_name"] = jIn["old_task_name"];
  return jFilter;
}

int checkSubtreeRequest(const OrvaJsonDbApi* pApi, const Json::Value& jIn, const sqlite3* pDb, int iType) {
  FAIL_IF(!pApi);
  FAIL_IF(!pDb);
  FAIL_IF(jIn.type() != Json::objectValue);
  FAIL_IF(!jIn.isMember("task_name"));
  FAIL_IF_AS(!isTextLike(jIn["task_name"]), "!jIn[\"task_name\"].isString()");
  FAIL_IF(jIn["task_name"].asString().empty());
  FAIL_IF(iType < 0 || iType > 1);
  return 0;
}

// Moves `old_task_name` of a rename request to the filter.
int buildEntries(Json::Value& jIn, int iType, EntryChange& change, Json::Value& jFilter) {
  const std::string strEntry = dependEntry(jIn["task_name"].asString());
  if (SUBTREE_DELETE == iType) {
    change.strSearch = strEntry;
    return 0;
  }
  FAIL_IF(!jIn.isMember("old_task_name"));
  FAIL_IF_AS(!isTextLike(jIn["old_task_name"]), "!jIn[\"old_task_name\"].isString()");
  FAIL_IF(jIn["old_task_name"].asString().empty());
  change.strSearch = dependEntry(jIn["old_task_name"].asString());
  change.strReplacement = strEntry;
  jFilter = oldNameFilter(jIn);
  jIn.removeMember("old_task_name");
  return 0;
}

// The task is changed before its dependants are listed; they are found by the name in their lists.
int changeTask(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb, int iType, Json::Value& jFilter,
               Json::Value& jOutArray) {
  if (SUBTREE_DELETE == iType) {
    FAIL_IF(0 > pApi->recDelete(jIn, false));
    FAIL_IF_AS(0 > recListRelateEx(pApi, jIn, jOutArray, pDb, false, std::string(), true),
               "0 > recListRelateEx(pApi, jIn, jOutArray, pDb, false, string(\"\"), true)");
    return 0;
  }
  FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jIn));
  FAIL_IF_AS(0 > recListRelateEx(pApi, jFilter, jOutArray, pDb, false, std::string(), true),
             "0 > recListRelateEx(pApi, jFilter, jOutArray, pDb, false, string(\"\"), true)");
  return 0;
}

// Deliberately, only the first copy of the entry changes. An indirect dependant has none and is not written.
int rewriteList(OrvaJsonDbApi* pApi, Json::Value& jOut, const EntryChange& change) {
  FAIL_IF(!jOut.isMember("depend_on_task"));
  FAIL_IF(!jOut["depend_on_task"].isString());
  std::string strTaskDepend = jOut["depend_on_task"].asString();
  const std::string::size_type pos = strTaskDepend.find(change.strSearch);
  if (std::string::npos == pos) {
    return 0;
  }
  jOut["depend_on_task"] = strTaskDepend.replace(pos, change.strSearch.size(), change.strReplacement);
  const Json::Value jFilter = taskFilter(jOut);
  FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jOut));
  return 0;
}

int updateSubtree(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb, int iType) {
  EntryChange change;
  Json::Value jFilter(Json::objectValue);
  if (0 > checkSubtreeRequest(pApi, jIn, pDb, iType) || 0 > buildEntries(jIn, iType, change, jFilter)) {
    return -1;
  }
  Transaction transaction(pDb);
  Json::Value jOutArray(Json::arrayValue);
  if (0 > transaction.begin() || 0 > changeTask(pApi, jIn, pDb, iType, jFilter, jOutArray)) {
    return -1;
  }
  for (Json::Value& jOut : jOutArray) {
    if (0 > rewriteList(pApi, jOut, change)) {
      return -1;
    }
  }
  return transaction.commit();
}

int updateTask(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb) {
  FAIL_IF(!pApi);
  FAIL_IF(!pDb);
  FAIL_IF(jIn.type() != Json::objectValue);
  FAIL_IF(!jIn.isMember("task_name"));
  const bool blRename = jIn.isMember("old_task_name");
  Json::Value jFilter = blRename ? oldNameFilter(jIn) : taskFilter(jIn);
  FAIL_IF_AS(!isTextLike(memberOf(jIn, "old_task_name")), "!jIn[\"old_task_name\"].isString()");
  FAIL_IF_AS(blRename && !isTextLike(jIn["task_name"]), "!jIn[\"task_name\"].isString()");
  const std::string strOldName = textOf(memberOf(jIn, "old_task_name"));
  const std::string strNewName = textOf(jIn["task_name"]);
  Json::Value jOut;
  FAIL_IF(0 > pApi->recList(jFilter, jOut));
  if (jOut.empty()) {
    // People search logs for this odd text, so it stays.
    LOG_DEBUG("nothing to be save, ignore");
    return 0;
  }
  if (!blRename) {
    FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jIn));
    return 0;
  }
  FAIL_IF(0 > recUpdateSubtree(pApi, jIn, pDb, 1));
  logEvent(LEVEL_INFORMATION, EVENT_TASK_RENAMED, strOldName, strNewName);
  return 0;
}

}  // namespace

int recCreate(OrvaJsonDbApi* pApi, Json::Value& jIn, Json::Value& jOut) {
  return GUARDED([&] {
    FAIL_IF(!pApi);
    const int iResult = pApi->recCreate(jIn, jOut);
    if (0 <= iResult) {
      logEvent(LEVEL_INFORMATION, EVENT_TASK_CREATED, textOf(memberOf(jIn, "task_name")));
    }
    return iResult;
  });
}

int recUpdate(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb) {
  return GUARDED([&] { return updateTask(pApi, jIn, pDb); });
}

int recDelete(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb) {
  return GUARDED([&] {
    const int iResult = recUpdateSubtree(pApi, jIn, pDb, SUBTREE_DELETE);
    if (0 <= iResult) {
      logEvent(LEVEL_INFORMATION, EVENT_TASK_DELETED, textOf(memberOf(jIn, "task_name")));
    }
    return iResult;
  });
}

int recUpdateSubtree(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb, int iType) {
  return GUARDED([&] { return updateSubtree(pApi, jIn, pDb, iType); });
}
