#include "change_config.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/store/records.h"
#include "common/support/failure.h"

namespace Host {

namespace {

bool areKnown(const ConfigValues& values) {
  const std::vector<std::string> vecKeys = configKeys();
  return std::all_of(values.begin(), values.end(), [&](const auto& value) {
    return std::find(vecKeys.begin(), vecKeys.end(), value.first) != vecKeys.end();
  });
}

}  // namespace

void changeConfig(const ConfigLock& lock, const ConfigValues& values, const std::set<Json::Int64>& setOwners) {
  if (const std::vector<std::string> vecWhy = whyNotConfig(values, setOwners); !vecWhy.empty()) {
    const std::string strWhy = fmt::format("{}", fmt::join(vecWhy, "\n"));
    if (!areKnown(values)) {
      throw UsageFailure(strWhy);
    }
    throw Failure(strWhy);
  }
  setConfig(lock, values);
}

void changeConfig(const ConfigValues& values, bool blForce) {
  // The values are checked against others, which must not change before they are set.
  const ConfigLock lock;
  const auto itOutput = values.find("enable_output");
  const bool blOwnersCount = itOutput != values.end() && itOutput->second == "no" && !blForce;
  changeConfig(lock, values, blOwnersCount ? ownersOf(listTasks()) : std::set<Json::Int64>());
}

}  // namespace Host
