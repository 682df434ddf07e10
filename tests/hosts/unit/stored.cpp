#include "stored.h"

#include <ctime>
#include <stdexcept>

#include "common/store/session.h"
#include "common/text/json_members.h"

using namespace Host;

namespace HostTest {

namespace {

Json::Value create(OrvaJsonDbApi* pStore, Json::Value jRecord, const Json::Value& jMore) {
  Json::Value jOut;
  ORVA_JSON_DB::jsonCopyMember(jRecord, jMore, true);
  if (pStore->recCreate(jRecord, jOut) != 0) {
    throw std::runtime_error("cannot create a record");
  }
  return jOut;
}

}  // namespace

void addTask(const Session& session, const std::string& strTask, const std::string& strScript,
             const Json::Value& jMore) {
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = strTask;
  jTask["event"] = "bootup";
  jTask["owner"] = 0;
  jTask["enable"] = true;
  jTask["run_the_same_time"] = false;
  jTask["operation"] = strScript;
  jTask["operation_type"] = "script";
  create(session.tasks(), jTask, jMore);
}

Json::Int64 addRun(const Session& session, const std::string& strTask, pid_t pid, const Json::Value& jMore) {
  Json::Value jRun(Json::objectValue);
  jRun["task_name"] = strTask;
  jRun["start_time"] = static_cast<Json::Int64>(std::time(nullptr));
  jRun["pid"] = pid;
  jRun["exit_info"] = Json::Value(Json::objectValue);
  return intOf(create(session.runs(), jRun, jMore), "result_id");
}

void changeRun(const Session& session, Json::Int64 iRun, const Json::Value& jUpdate) {
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = iRun;
  if (session.runs()->recUpdateByFilter(jFilter, jUpdate) != 1) {
    throw std::runtime_error("cannot change a run");
  }
}

}  // namespace HostTest
