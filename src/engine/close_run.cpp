#include "engine/close_run.h"

#include <cstdint>
#include <fcntl.h>
#include <unistd.h>

#include "orva_platform.h"

#include "catalogue/records.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/file.h"
#include "support/json_read.h"
#include "support/seconds.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

int checkArguments(const Json::Value& jTask, const OrvaJsonDbApi* pApi, const OrvaJsonDbApi* pApiResult,
                   const sqlite3* pDb, const Json::Value& jResult) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(!pApi);
  FAIL_IF(!pApiResult);
  FAIL_IF(!pDb);
  FAIL_IF(jResult.type() != Json::objectValue);
  FAIL_IF(!jResult.isMember("result_id"));
  FAIL_IF(!jTask.isMember("strExitCode_tmp"));
  FAIL_IF(!jTask["strExitCode_tmp"].isString());
  FAIL_IF_AS(!isInt64Like(jResult["result_id"]), "!jResult[\"result_id\"].isInt64()");
  return 0;
}

// The folder is open to everybody. So the file is read only if root or the task's owner created it with this name, and
// if reading it cannot block.
bool readExitCode(const std::string& strPath, const Json::Value& jOwner, Json::Value& jExit) {
  constexpr off_t CB_MOST = 64 * 1024;
  struct stat info{};
  const FileDescriptor file = openRegular(strPath, O_NOFOLLOW, info, Leased::FAIL);
  if (!file.isOpen() || info.st_nlink != 1 || info.st_size > CB_MOST) {
    return false;
  }
  if (info.st_uid != 0 && !(jOwner.isUInt() && jOwner.asUInt() == info.st_uid)) {
    return false;
  }
  std::string strText;
  Json::Value jRead;
  if (!readUpTo(file.get(), CB_MOST, strText) || !parseJson(strText, jRead) || !jRead.isObject()) {
    return false;
  }
  jExit = jRead;
  return true;
}

Json::Value takeExitCode(const Json::Value& jTask) {
  const std::string strPath = jTask["strExitCode_tmp"].asString();
  Json::Value jExit(Json::objectValue);
  if (!readExitCode(strPath, memberOf(jTask, "owner"), jExit)) {
    LOG_ERROR("load exit code failed, path=%s", strPath.c_str());
  }
  unlink(strPath.c_str());
  return jExit;
}

int closeRecord(const Json::Value& jTask, OrvaJsonDbApi* pApiResult, Json::Value& jResult) {
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = jResult["result_id"].asInt64();
  Json::Value jUpdate(Json::objectValue);
  jUpdate["stop_time"] = jsonSeconds(currentSeconds());
  jUpdate["exit_info"] = takeExitCode(jTask);
  FAIL_IF(0 > pApiResult->recUpdateByFilter(jFilter, jUpdate));
  FAIL_IF_AS(0 > ORVA_JSON_DB::jsonCopyMember(jResult, jUpdate, true), "0 > jsonCopyMember(jResult, jUpdate, true)");
  return 0;
}

// Removes every copy of the pid. Deliberately, only the running list of `status` is kept; other members are dropped.
int removeFromRunning(Json::Value& jTask, const Json::Value& jResult) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(!jTask.isMember("status"));
  FAIL_IF(jTask["status"].type() != Json::objectValue && jTask["status"].type() != Json::arrayValue &&
          jTask["status"].type() != Json::nullValue);
  Json::Value jStatus = jTask["status"].isObject() ? jTask["status"] : Json::Value(Json::objectValue);
  if (!jStatus.isMember("running")) {
    jStatus["running"] = Json::Value(Json::arrayValue);
  }
  FAIL_IF(jStatus["running"].type() != Json::arrayValue);
  FAIL_IF(jResult.type() != Json::objectValue);
  FAIL_IF(!jResult.isMember("pid"));
  FAIL_IF_AS(!isInt64Like(jResult["pid"]), "!jResult[\"pid\"].isInt64()");
  const auto pid = static_cast<std::int32_t>(jResult["pid"].asInt64());
  Json::Value jRunning(Json::arrayValue);
  for (const Json::Value& jPid : jStatus["running"]) {
    FAIL_IF_AS(!isInt64Like(jPid), "!jStatus[\"running\"][i].isInt64()");
    if (jPid.asInt64() == pid) {
      LOG_DEBUG("remove status, pid=%u", static_cast<unsigned int>(pid));
    } else {
      jRunning.append(jPid);
    }
  }
  Json::Value jStatusNew(Json::objectValue);
  jStatusNew["running"] = jRunning;
  jTask["status"] = jStatusNew;
  return 0;
}

int closeTask(Json::Value& jTask, OrvaJsonDbApi* pApi, const Json::Value& jResult) {
  const Json::Value jFilter = taskFilter(jTask);
  FAIL_IF(0 > pApi->recGetOne(jFilter, jTask));
  // A task that was deleted meanwhile is null here, then becomes an object and fails because it has no `status`.
  FAIL_IF(jTask.type() != Json::objectValue && jTask.type() != Json::nullValue);
  jTask["last_stop_time"] = memberOf(jResult, "stop_time");
  jTask["last_exit_info"] = memberOf(jResult, "exit_info");
  if (0 > removeFromRunning(jTask, jResult)) {
    return -1;
  }
  FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jTask));
  return 0;
}

int closeRun(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, const sqlite3* pDb,
             Json::Value& jResult) {
  if (0 > checkArguments(jTask, pApi, pApiResult, pDb, jResult) || 0 > closeRecord(jTask, pApiResult, jResult)) {
    return -1;
  }
  return closeTask(jTask, pApi, jResult);
}

}  // namespace

int updateTaskResultByExitStatus(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
                                 Json::Value& jResult) {
  return GUARDED_WITH_LAST_LINE([&] { return closeRun(jTask, pApi, pApiResult, pDb, jResult); },
                                [&] { LOG_ERROR("error! jTask=%s", toString(jTask).c_str()); });
}
