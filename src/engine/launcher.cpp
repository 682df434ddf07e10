#include "engine/launcher.h"

#include <cstdio>
#include <unistd.h>

#include "orva_platform.h"

#include "engine/exit_status.h"
#include "engine/script_run.h"
#include "output/location.h"
#include "support/check.h"
#include "support/event_log.h"
#include "support/json_read.h"
#include "support/paths.h"
#include "support/seconds.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

// Strict, so that an invalid owner never becomes user 0.
bool isUid(const Json::Value& jOwner) {
  const bool blInteger = jOwner.type() == Json::intValue || jOwner.type() == Json::uintValue;
  return blInteger && jOwner.isUInt() && jOwner.asUInt() != static_cast<uid_t>(-1);
}

int checkArguments(const Json::Value& jTask, const Json::Value& jConfig, const Json::Value& jResult) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(jConfig.type() != Json::objectValue);
  FAIL_IF(jResult.type() != Json::objectValue);
  FAIL_IF(!jTask.isMember("operation_type"));
  FAIL_IF(!jTask["operation_type"].isString());
  FAIL_IF(!jTask.isMember("task_name"));
  FAIL_IF(!jTask["task_name"].isString());
  return 0;
}

int readTask(const Json::Value& jTask, const Json::Value& jResult, ScriptRun& run) {
  run.strTaskName = jTask["task_name"].asString();
  const std::string strOpType = jTask["operation_type"].asString();
  if ("script" != strOpType) {
    LOG_SYSTEM("OpType is not script [%s]", strOpType.c_str());
    logEvent(LEVEL_ERROR, EVENT_NOT_STARTED, run.strTaskName);
    return -1;
  }
  FAIL_IF(!jTask.isMember("operation"));
  FAIL_IF(!jTask["operation"].isString());
  run.strScript = jTask["operation"].asString();
  LOG_DEBUG("task=%s, strOp=%s", run.strTaskName.c_str(), run.strScript.c_str());
  FAIL_IF(!jTask.isMember("owner"));
  FAIL_IF_AS(!isUid(jTask["owner"]), "!jTask[\"owner\"].isUInt()");
  run.uidOwner = jTask["owner"].asUInt();
  FAIL_IF_AS(!isInt64Like(memberOf(jResult, "start_time")), "!jResult[\"start_time\"].isInt64()");
  run.iStartTime = toSeconds(memberOf(jResult, "start_time").asInt64());
  return 0;
}

// Without an output folder, the output goes to the temporary folder of a volume with free space, if there is one.
int placeTemporaryOutput(ScriptRun& run) {
  constexpr unsigned long long CB_MINIMUM = 0x500000;
  constexpr int CB_PATH = 4095;
  char szVolume[CB_PATH + 1] = "";
  if (0 >= VolumeAvailGet(CB_MINIMUM, 0, szVolume, CB_PATH, 0)) {
    LOG_ERROR("no available volume > 5MB exist, cannot record output");
    errorNotify();
    return 0;
  }
  char szFolder[CB_PATH + 1] = "";
  if (0 > ORVAShareTmpPathGet(szVolume, szFolder, CB_PATH)) {
    LOG_SYSTEM("Fail to get share temp path from [%s]", szVolume);
    logEvent(LEVEL_ERROR, EVENT_NOT_STARTED, run.strTaskName);
    return -1;
  }
  run.strOutput = std::string(szFolder) + TEMPORARY_OUTPUT_NAME;
  run.blTemporaryOutput = true;
  LOG_DEBUG("strOutPath=%s", run.strOutput.c_str());
  return 0;
}

int placeFiles(Json::Value& jConfig, ScriptRun& run) {
  const int iResult = getOutputPath(jConfig, run.strTaskName, run.iStartTime, &run.strOutput, &run.strScriptPath);
  if (OUTPUT_SHARE_NOT_ACCESSIBLE == iResult) {
    LOG_SYSTEM("Share folder is not accessible");
    logEvent(LEVEL_ERROR, EVENT_SHARE_NOT_ACCESSIBLE, "");
    return -1;
  }
  if (0 > iResult) {
    LOG_SYSTEM("Failed to get output path");
    return -1;
  }
  if (OUTPUT_NO_FOLDER == iResult) {
    run.blTemporaryScript = true;
    return placeTemporaryOutput(run);
  }
  if (run.strOutput.empty()) {
    LOG_SYSTEM("Output path is empty");
    logEvent(LEVEL_ERROR, EVENT_NO_OUTPUT_PATH, "");
    return -1;
  }
  return 0;
}

void rememberFiles(const ScriptRun& run, pid_t pid, Json::Value& jTask) {
  if (run.blTemporaryScript) {
    jTask["strScriptName_tmp"] = run.strScriptPath;
  }
  if (run.blTemporaryOutput) {
    jTask["strOutputPath_tmp"] = temporaryOutputOf(run, pid);
  }
  jTask["strExitCode_tmp"] = exitCodePath(pid);
}

}  // namespace

int forkRunCmd(Json::Value& jTask, Json::Value& jConfig, Json::Value& jResult) {
  ScriptRun run;
  if (0 > checkArguments(jTask, jConfig, jResult) || 0 > readTask(jTask, jResult, run) ||
      0 > placeFiles(jConfig, run)) {
    return -1;
  }
  // Otherwise buffered output would be written twice.
  std::fflush(nullptr);
  const pid_t pid = fork();
  FAIL_IF(0 > pid);
  if (0 == pid) {
    return runInChild(run);
  }
  rememberFiles(run, pid, jTask);
  return pid;
}
