#include "output/location.h"

#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "support/check.h"
#include "support/json_read.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

constexpr uid_t UID_ERR = static_cast<uid_t>(-1);
constexpr gid_t GID_ERR = static_cast<gid_t>(-1);

int isOutputOn(const Json::Value& jConfig, bool& blOn) {
  blOn = false;
  if (!jConfig.isMember("output_path")) {
    LOG_DEBUG("not set output path");
    return 0;
  }
  FAIL_IF_AS(!isBoolLike(memberOf(jConfig, "enable_output")), "!jConfig[\"enable_output\"].isBool()");
  if (jConfig.isMember("enable_output") && !jConfig["enable_output"].asBool()) {
    LOG_DEBUG("not enable output");
    return 0;
  }
  blOn = true;
  return 0;
}

int makeRunFolder(std::string strSharePathBase, const std::string& strTaskName, long iStartTime,
                  std::string& strOutBase) {
  FAIL_IF(0 > sharePath2VolumePath(strSharePathBase, strOutBase));
  FAIL_IF(strOutBase.empty());
  strOutBase.append("/").append(strTaskName).append("/").append(myto_string(static_cast<int>(iStartTime))).append("/");
  FAIL_IF_AS(0 > ORVAFSMkdirP(strOutBase.c_str(), nullptr, 1, UID_ERR, GID_ERR, 0777),
             "0 > ORVAFSMkdirP(strOutBase.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0777)");
  return 0;
}

int placeInShare(const std::string& strSharePath, const std::string& strTaskName, long iStartTime, std::string* pOut,
                 std::string* pScript) {
  const std::string strShare = strSharePath.substr(0, strSharePath.find('/'));
  if (0 == KLIBShareIsAccessible(strShare.c_str())) {
    LOG_SYSTEM("Share folder is not accessible. share path = [%s][0x%04X %s:%d]", strSharePath.c_str(),
               static_cast<unsigned int>(KLIBCErrGet()), KLIBCErrorGetFile(), KLIBCErrorGetLine());
    return OUTPUT_SHARE_NOT_ACCESSIBLE;
  }
  std::string strOutBase;
  if (0 > makeRunFolder(strSharePath, strTaskName, iStartTime, strOutBase)) {
    return -1;
  }
  *pOut = strOutBase + "output.log";
  LOG_DEBUG("output path=%s", pOut->c_str());
  if (pScript) {
    *pScript = strOutBase + "script.log";
    LOG_DEBUG("script path=%s", pScript->c_str());
  }
  return OUTPUT_FOLDER_READY;
}

}  // namespace

int getOutputPath(Json::Value& jConfig, const std::string& strTaskName, long iStartTime, std::string* pOut,
                  std::string* pScript) {
  FAIL_IF(jConfig.type() != Json::objectValue);
  FAIL_IF(strTaskName.empty());
  bool blOn = false;
  if (0 > isOutputOn(jConfig, blOn)) {
    return -1;
  }
  if (blOn) {
    FAIL_IF(!jConfig["output_path"].isString());
    return placeInShare(jConfig["output_path"].asString(), strTaskName, iStartTime, pOut, pScript);
  }
  if (pScript) {
    // All runs of this process share this file; each child overwrites it just before running it.
    *pScript = TEMPORARY_SCRIPT_PREFIX + myto_string(getpid());
    LOG_DEBUG("script path=%s", pScript->c_str());
  }
  return OUTPUT_NO_FOLDER;
}
