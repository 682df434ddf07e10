#include "run_identity.h"

#include <ctime>
#include <fstream>
#include <optional>
#include <string>

#include "common/coordination/execution_file.h"
#include "common/store/records.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

constexpr char BOOT_ID[] = "boot_id";
constexpr char START_TICKS[] = "start_ticks";

/// The start time is taken before the process starts. In between, disks may have to wake up.
constexpr double START_SECONDS = 60;

/// The id of this boot; empty when it is unknown.
const std::string& bootId() {
  static const std::string BOOT = [] {
    std::string strBoot;
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::getline(file, strBoot);
    return strBoot;
  }();
  return BOOT;
}

}  // namespace

Json::Value identityOf(const ProcessStatus& status) {
  Json::Value jIdentity(Json::objectValue);
  if (!bootId().empty()) {
    jIdentity[BOOT_ID] = bootId();
    jIdentity[START_TICKS] = static_cast<Json::Int64>(status.ticksStart);
  }
  return jIdentity;
}

bool hasIdentity(const Json::Value& jRun) {
  return !textOf(jRun, BOOT_ID).empty() && intOf(jRun, START_TICKS, -1) >= 0;
}

bool isOfOtherBoot(const Json::Value& jRun) {
  return hasIdentity(jRun) && !bootId().empty() && textOf(jRun, BOOT_ID) != bootId();
}

bool isProcessOf(const Json::Value& jRun) {
  const pid_t pid = pidOf(jRun);
  if (pid <= 0 || isOfOtherBoot(jRun)) {
    return false;
  }
  const std::optional<ProcessStatus> status = processStatus(pid);
  if (!status) {
    return false;
  }
  if (hasIdentity(jRun)) {
    return static_cast<Json::Int64>(status->ticksStart) == intOf(jRun, START_TICKS) && !status->isEnded();
  }
  const double started = static_cast<double>(std::time(nullptr)) - secondsSinceStart(*status);
  return started <= static_cast<double>(timeOf(jRun, "start_time")) + START_SECONDS;
}

bool isRunAlive(const Json::Value& jRun) {
  const pid_t pid = pidOf(jRun);
  if (pid <= 0 || isOfOtherBoot(jRun)) {
    return false;
  }
  const bool blProcess = isProcessOf(jRun);
  // Checked after the process: an execution notes each run before it is recorded.
  return blProcess || executionOf(pid, intOf(jRun, "result_id"));
}

}  // namespace Host
