#include "state_answers.h"

#include "common/config/scheduler_section.h"
#include "common/config/settings.h"
#include "common/state/state_change.h"

namespace Host {

namespace {

Json::Value namesForPrograms(const std::vector<std::string>& vecNames) {
  Json::Value jNames(Json::arrayValue);
  for (const std::string& strName : vecNames) {
    jNames.append(strName);
  }
  return jNames;
}

}  // namespace

Json::Value configForPrograms() {
  Json::Value jOut = schedulerConfig();
  for (const std::string& strKey : settingKeys()) {
    jOut["settings"][strKey] = settingText(strKey);
  }
  return jOut;
}

Json::Value differenceForPrograms(const StateDifference& difference, bool blApplied) {
  Json::Value jOut(Json::objectValue);
  jOut["applied"] = blApplied;
  jOut["created"] = namesForPrograms(difference.vecCreated);
  jOut["changed"] = namesForPrograms(difference.vecChanged);
  jOut["deleted"] = namesForPrograms(difference.vecDeleted);
  jOut["configuration"] = namesForPrograms(difference.vecConfig);
  return jOut;
}

}  // namespace Host
