// Walks over the dependency graph in the store.

#include <cstdint>
#include <deque>
#include <sqlite3.h>

#include "orva_platform.h"

#include "catalogue/depend_list.h"
#include "catalogue/records.h"
#include "store/database.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

// One breadth-first walk. A name is queried each time it is reached; only the output has no duplicates.
class Walk {
public:
  Walk(OrvaJsonDbApi& api, const std::string& strStart, bool blBottomUp, Json::Value& jRecArrayOut)
      : m_api(api), m_strStart(strStart), m_blBottomUp(blBottomUp), m_jRecArrayOut(jRecArrayOut) {}

  int run() {
    m_queue.push_back(m_strStart);
    for (bool blFirstPass = true; !m_queue.empty(); blFirstPass = false) {
      const std::string strName = m_queue.front();
      m_queue.pop_front();
      if (0 > visit(strName, blFirstPass)) {
        return -1;
      }
    }
    return 0;
  }

private:
  int visit(const std::string& strName, bool blFirstPass) {
    Json::Value jFilter(Json::objectValue);
    if (m_blBottomUp) {
      jFilter["task_name"] = strName;
    } else {
      // Deliberately a pattern: "_" and "%" in a name match other names. Hosts know this filter text.
      const SqlText szSql(sqlite3_mprintf("depend_on_task like '%%[%q]%%'", strName.c_str()));
      FAIL_IF(!szSql);
      jFilter["orvaSqlWhereFilter"] = szSql.get();
    }
    Json::Value jOut;
    FAIL_IF_AS(0 > m_api.recList(jFilter, jOut), "0 > pApi->recList(jFilter, jOut)");
    for (const Json::Value& jRec : jOut) {
      FAIL_IF_AS(!hasMember(jRec, "task_name"), "!jOut[i].isMember(\"task_name\")");
      if (0 > (m_blBottomUp ? followPrerequisites(jRec, blFirstPass) : followDependant(jRec))) {
        return -1;
      }
    }
    return 0;
  }

  int followPrerequisites(const Json::Value& jRec, bool blFirstPass) {
    // The first pass finds the starting task itself, which is neither a result nor a cycle.
    if (!blFirstPass && 0 > collect(jRec)) {
      return -1;
    }
    if (!jRec.isMember("depend_on_task")) {
      return 0;
    }
    FAIL_IF_AS(!jRec["depend_on_task"].isString(), "!jOut[i][\"depend_on_task\"].isString()");
    std::vector<std::string> names;
    const int iResult = parseDependList(jRec["depend_on_task"].asString(), names);
    m_queue.insert(m_queue.end(), names.begin(), names.end());
    return iResult;
  }

  int followDependant(const Json::Value& jRec) {
    if (0 > collect(jRec)) {
      return -1;
    }
    m_queue.push_back(jRec["task_name"].asString());
    return 0;
  }

  int collect(const Json::Value& jRec) {
    FAIL_IF_AS(jRec["task_name"] == Json::Value(m_strStart),
               "jOut[i][\"task_name\"].toString() == jRecParam[\"task_name\"].toString()");
    FAIL_IF_AS(!isTextLike(jRec["task_name"]), "!jOut[i][\"task_name\"].isString()");
    Json::Value& jSeen = m_jSeen[jRec["task_name"].asString()];
    if (jSeen.isNull()) {
      jSeen = true;
      m_jRecArrayOut.append(jRec);
    }
    return 0;
  }

  OrvaJsonDbApi& m_api;
  const std::string& m_strStart;
  const bool m_blBottomUp;
  Json::Value& m_jRecArrayOut;
  std::deque<std::string> m_queue;
  Json::Value m_jSeen{Json::objectValue};
};

// Replaces the result of a walk by every other task of the event, without the starting task.
int complement(OrvaJsonDbApi& api, const std::string& strStart, const std::string& strEvent,
               Json::Value& jRecArrayOut) {
  const SqlText szSql(sqlite3_mprintf("(event=%Q ) and ( task_name!=%Q ) ", strEvent.c_str(), strStart.c_str()));
  FAIL_IF(!szSql);
  std::string strWhere = szSql.get();
  const char* szBefore = " and ( task_name not in (";
  for (const Json::Value& jRec : jRecArrayOut) {
    FAIL_IF_AS(!hasMember(jRec, "task_name"), "!jRecArrayOut[i].isMember(\"task_name\")");
    FAIL_IF_AS(!jRec["task_name"].isString(), "!jRecArrayOut[i][\"task_name\"].isString()");
    // Deliberately quoted by hand. A quote in a name makes the store refuse the text, and the store can only read.
    strWhere.append(szBefore).append("'").append(jRec["task_name"].asString()).append("'");
    szBefore = ",";
  }
  if (!jRecArrayOut.empty()) {
    strWhere.append(" ))");
  }
  jRecArrayOut.clear();
  Json::Value jFilter(Json::objectValue);
  jFilter["orvaSqlWhereFilter"] = strWhere;
  FAIL_IF_AS(0 > api.recList(jFilter, jRecArrayOut), "0 > pApi->recList(jFilter, jRecArrayOut)");
  return 0;
}

int listRelateEx(OrvaJsonDbApi* pApi, const Json::Value& jRecParam, Json::Value& jRecArrayOut, const sqlite3* pDb,
                 bool blBottomUp, const std::string& strEvent) {
  FAIL_IF(!pApi);
  FAIL_IF(jRecArrayOut.type() != Json::arrayValue && jRecArrayOut.type() != Json::nullValue);
  FAIL_IF(!pDb);
  FAIL_IF(jRecParam.type() != Json::objectValue);
  FAIL_IF(!jRecParam.isMember("task_name"));
  FAIL_IF(!jRecParam["task_name"].isString());
  // Copy the name before clearing the result, because the request may be part of the result.
  const std::string strStart = jRecParam["task_name"].asString();
  // A null becomes an array, too, because no match means an empty list.
  jRecArrayOut = Json::Value(Json::arrayValue);
  if (0 > Walk(*pApi, strStart, blBottomUp, jRecArrayOut).run()) {
    return -1;
  }
  return strEvent.empty() ? 0 : complement(*pApi, strStart, strEvent, jRecArrayOut);
}

// The records of jOut2 whose task is in jOut1 too, in the order of jOut1.
int intersect(const Json::Value& jOut1, const Json::Value& jOut2, Json::Value& jRecArrayOut) {
  for (const Json::Value& jRec1 : jOut1) {
    FAIL_IF_AS(!hasMember(jRec1, "task_name"), "!jOut1[(size_t)i].isMember(\"task_name\")");
    for (const Json::Value& jRec2 : jOut2) {
      FAIL_IF_AS(!hasMember(jRec2, "task_name"), "!jOut2[(size_t)j].isMember(\"task_name\")");
      if (jRec1["task_name"] == jRec2["task_name"]) {
        jRecArrayOut.append(jRec2);
        break;
      }
    }
  }
  return 0;
}

int listCandidates(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb) {
  FAIL_IF(!jRecParam.isMember("task_name"));
  FAIL_IF(!pApi);
  FAIL_IF(jRecArrayOut.type() != Json::arrayValue && jRecArrayOut.type() != Json::nullValue);
  const Json::Value jFilter = taskFilter(jRecParam);
  Json::Value jTask;
  FAIL_IF(0 > pApi->recGetOne(jFilter, jTask));
  FAIL_IF_AS(!hasMember(jTask, "event"), "!jTask.isMember(\"event\")");
  FAIL_IF(!jTask["event"].isString());
  const std::string strEvent = jTask["event"].asString();
  Json::Value jOut1;
  Json::Value jOut2;
  if (0 > recListRelateEx(pApi, jRecParam, jOut1, pDb, true, strEvent, true) ||
      0 > recListRelateEx(pApi, jRecParam, jOut2, pDb, false, strEvent, true)) {
    return -1;
  }
  return intersect(jOut1, jOut2, jRecArrayOut);
}

int listRelate(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb) {
  FAIL_IF_AS(!hasMember(jRecParam, "relate_type"), "!jRecParam.isMember(\"relate_type\")");
  FAIL_IF_AS(!isInt64Like(jRecParam["relate_type"]), "!jRecParam[\"relate_type\"].isInt64()");
  // The low 32 bits, unsigned, so a negative type is above the range, too.
  const auto uRelateType = static_cast<std::uint32_t>(jRecParam["relate_type"].asInt64());
  FAIL_IF_AS(uRelateType > RTYPE_CANDIDATE, "iRelateType > RTYPE_CANDIDATE || iRelateType < RTYPE_BOTTM_UP");
  if (RTYPE_CANDIDATE == uRelateType) {
    return listCandidates(pApi, jRecParam, jRecArrayOut, pDb);
  }
  return recListRelateEx(pApi, jRecParam, jRecArrayOut, pDb, RTYPE_BOTTM_UP == uRelateType, "", true);
}

}  // namespace

int recListRelateEx(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb,
                    bool blBottomUp, std::string strEvent, [[maybe_unused]] bool blReserved) {
  return GUARDED([&] { return listRelateEx(pApi, jRecParam, jRecArrayOut, pDb, blBottomUp, strEvent); });
}

int recListRelate(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb) {
  return GUARDED_WITH_LAST_LINE([&] { return listRelate(pApi, jRecParam, jRecArrayOut, pDb); },
                                [&] { LOG_ERROR("error, jRecParam=%s", toString(jRecParam).c_str()); });
}
