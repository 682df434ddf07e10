// Reads the output of a run and the script that ran.

#include "orva_platform.h"

#include "config/own_section.h"
#include "output/location.h"
#include "store/run_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/seconds.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

int checkRequest(const OrvaJsonDbApi* pApiResult, const Json::Value& jIn) {
  FAIL_IF(!pApiResult);
  FAIL_IF(jIn.type() != Json::objectValue);
  FAIL_IF(!jIn.isMember("result_id"));
  FAIL_IF(!jIn.isMember("task_name"));
  FAIL_IF(!jIn["task_name"].isString());
  return 0;
}

// Only checks the value; getOutputPath() reads it.
int checkOutputPath(const Json::Value& jConfig) {
  FAIL_IF_AS(!hasMember(jConfig, "output_path"), "!jConfig.isMember(\"output_path\")");
  FAIL_IF(!jConfig["output_path"].isString());
  const std::string strOutputPath = jConfig["output_path"].asString();
  FAIL_IF(strOutputPath.empty());
  return 0;
}

int findFiles(Json::Value& jConfig, const Json::Value& jIn, const Json::Value& jResult, std::string& strOut,
              std::string& strScript) {
  if (0 > checkOutputPath(jConfig)) {
    return -1;
  }
  FAIL_IF_AS(!hasMember(jResult, "start_time"), "!jResult.isMember(\"start_time\")");
  FAIL_IF_AS(!isInt64Like(jResult["start_time"]), "!jResult[\"start_time\"].isInt64()");
  const long iStartTime = toSeconds(jResult["start_time"].asInt64());
  FAIL_IF_AS(0 > getOutputPath(jConfig, jIn["task_name"].asString(), iStartTime, &strOut, &strScript),
             "0 > getOutputPath(jConfig, jIn[\"task_name\"].asString(), jResult[\"start_time\"].asInt64(), &strOut, "
             "&strScript)");
  LOG_DEBUG("strOut=%s", strOut.c_str());
  LOG_DEBUG("strScript=%s", strScript.c_str());
  return 0;
}

// A missing file gives an empty text.
int readInto(const std::string& strPath, Json::Value& jText) {
  std::string strContent;
  if (!strPath.empty() && 0 > loadRunFile(strPath, strContent)) {
    // Deliberately "ouput": people search logs for this text.
    LOG_FAILED_WITH("load ouput failed, path=%s", strPath.c_str());
    return -1;
  }
  jText = strContent;
  return 0;
}

int resultGetFile(OrvaJsonDbApi* pApiResult, const Json::Value& jIn, Json::Value& jOut) {
  if (0 > checkRequest(pApiResult, jIn)) {
    return -1;
  }
  Json::Value jResult;
  FAIL_IF(0 > pApiResult->recGetOne(jIn, jResult));
  if (jResult.empty()) {
    // Deliberately not a failure: the record may have been removed since it was listed.
    LOG_FAILED("no result record found!");
    return 0;
  }
  FAIL_IF(jOut.type() != Json::objectValue && jOut.type() != Json::nullValue);
  Json::Value jFilter = ownSection();
  Json::Value jConfig;
  const int err = configGet(jFilter, jConfig);
  FAIL_IF_AS(0 > err, "0 > (err = configGet(jFilter, jConfig))");
  if (0 == err) {
    jOut["script_out"] = "";
    jOut["script_in"] = "";
    return 0;
  }
  std::string strOut;
  std::string strScript;
  if (0 > findFiles(jConfig, jIn, jResult, strOut, strScript)) {
    return -1;
  }
  Json::Value jText;
  if (0 > readInto(strOut, jText)) {
    return -1;
  }
  jOut["script_out"] = jText;
  if (0 > readInto(strScript, jText)) {
    return -1;
  }
  jOut["script_in"] = jText;
  return 0;
}

}  // namespace

int recResultGetFile(OrvaJsonDbApi* pApiResult, Json::Value& jIn, Json::Value& jOut) {
  return GUARDED([&] { return resultGetFile(pApiResult, jIn, jOut); });
}
