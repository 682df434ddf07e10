#include "engine/exit_status.h"

#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

Json::Value exitInfo(const char* szExitType, int iExitCode) {
  Json::Value jExit(Json::objectValue);
  jExit["exit_type"] = szExitType;
  jExit["exit_code"] = iExitCode;
  return jExit;
}

// Without the system's macros, so that the record does not depend on the system.
int classify(int iStatus, Json::Value& jExitNew) {
  const int iLow = iStatus & 0x7f;
  const int iHigh = (iStatus >> 8) & 0xff;
  if (0 == iLow) {
    jExitNew = exitInfo("normal", iHigh);
  } else if (0x7f != iLow) {
    jExitNew = exitInfo("by_signal", iLow);
  } else if (0x7f == (iStatus & 0xff)) {
    jExitNew = exitInfo("stop", iHigh);
  } else if (0xffff == iStatus) {
    jExitNew = Json::Value(Json::objectValue);
    jExitNew["exit_type"] = "continue";
  } else {
    LOG_FAILED_WITH("error exit type, iStatus=%d", iStatus);
    return -1;
  }
  return 0;
}

}  // namespace

namespace Orva {

std::string exitCodePath(pid_t pid) {
  return EXIT_CODE_PREFIX + myto_string(pid);
}

}  // namespace Orva

int getExitStatus(int iStatus, Json::Value& jExit) {
  return GUARDED([&] {
    LOG_DEBUG("iStatus=%d", iStatus);
    FAIL_IF(jExit.type() != Json::objectValue && jExit.type() != Json::nullValue);
    Json::Value jExitNew;
    if (0 > classify(iStatus, jExitNew)) {
      return -1;
    }
    LOG_DEBUG("jExitNew=%s", toString(jExitNew).c_str());
    jExit = jExitNew;
    return 0;
  });
}
