#include "server_answers.h"

#include "common/config/scheduler_section.h"
#include "common/config/settings.h"
#include "common/health/check.h"
#include "common/server/shares.h"
#include "common/state/state_change.h"
#include "common/text/json_members.h"
#include "finding_text.h"

namespace Host {

Json::Value checkForPrograms(const HealthFindings& findings) {
  const auto answer = [](const HealthFinding& finding) {
    return objectOf({{"severity", severityWord(finding.severity)},
                     {"area", findingArea(finding)},
                     {"subject", finding.strSubject},
                     {"text", findingText(finding)},
                     {"advice", findingAdvice(finding)}});
  };
  return objectOf({{"ok", problemsAmong(findings) == 0}, {"findings", arrayOf(findings, answer)}});
}

Json::Value sharesForPrograms(const Shares& shares) {
  return arrayOf(shares.vecShare, [](const SharePtr& pShare) {
    const std::string strWhyNot = whyUnusable(*pShare);
    return objectOf({{"name", pShare->szName},
                     {"path", pShare->szPath},
                     {"volume", *pShare->szVolume != '\0' ? Json::Value(pShare->szVolume) : Json::Value()},
                     {"accessible", strWhyNot.empty()},
                     {"why_not", strWhyNot.empty() ? Json::Value() : Json::Value(strWhyNot)},
                     {"free", static_cast<Json::UInt64>(pShare->cbFree)}});
  });
}

Json::Value configForPrograms() {
  Json::Value jOut = schedulerConfig();
  for (const std::string& strKey : settingKeys()) {
    jOut["settings"][strKey] = settingText(strKey);
  }
  return jOut;
}

Json::Value settingForPrograms(const std::string& strKey, const std::string& strValue) {
  return objectOf({{"key", strKey}, {"value", strValue}});
}

Json::Value differenceForPrograms(const StateDifference& difference, bool blApplied) {
  return objectOf({{"applied", blApplied},
                   {"created", arrayOf(difference.vecCreated)},
                   {"changed", arrayOf(difference.vecChanged)},
                   {"deleted", arrayOf(difference.vecDeleted)},
                   {"configuration", arrayOf(difference.vecConfig)},
                   {"events", arrayOf(difference.vecEvents)}});
}

}  // namespace Host
