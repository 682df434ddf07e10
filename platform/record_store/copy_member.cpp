#include <cerrno>
#include <utility>

#include "orva_platform.h"

#include "support/last_error.h"
#include "support/log.h"

int ORVA_JSON_DB::jsonCopyMember(Json::Value& jTarget, const Json::Value& jSource, bool blOverwrite) {
  if ((!jTarget.isObject() && !jTarget.isNull()) || !jSource.isObject()) {
    SET_LAST_ERROR(EINVAL);
    logError("copy of members: the %s is not an object", jSource.isObject() ? "target" : "source");
    return -1;
  }
  // The target and the source may be part of each other, so copy everything before the target changes.
  Json::Value jCopy(jSource);
  if (jTarget.isNull()) {
    jTarget = Json::Value(Json::objectValue);
  }
  for (auto member = jCopy.begin(); member != jCopy.end(); ++member) {
    const std::string strName = member.name();
    if (blOverwrite || !jTarget.isMember(strName)) {
      jTarget[strName] = std::move(*member);
    }
  }
  return 0;
}
