#include "execution_group.h"

#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <unistd.h>
#include <utility>

#include "common/config/settings.h"
#include "common/coordination/execution_file.h"
#include "common/server/systemd_service.h"
#include "common/server/systemd_units.h"
#include "common/support/control_group.h"
#include "common/support/failure.h"
#include "end_request.h"
#include "messages.h"

namespace Host {

namespace {

constexpr char WATCH[] = "watch";
constexpr char RUN_PREFIX[] = "run-";

/// Makes the calling process a unit of systemd. A failure is no reason to lose an event.
bool registerWithSystemd(const ExecutionRequest& request) {
  try {
    becomeScope(unitName(request.unitPart(), "scope"), request.description(), SCOPE_END_SIGNAL, stopTime());
    return true;
  } catch (const Failure& failure) {
    // systemd starts nothing while it stops the server.
    if (!isSystemStopping()) {
      sendMessage(fmt::format("{}; the execution continues without a unit of its own", failure.what()));
    }
    return false;
  }
}

void enterWatch(const ControlGroup& unit) {
  const ControlGroup watch = unit.below(WATCH);
  watch.create();
  watch.enter();
  unit.passOnControllers();
}

}  // namespace

std::chrono::seconds stopTime() {
  constexpr std::chrono::seconds MORE(60);
  return 3 * graceSetting() + MORE;
}

void enterExecutionGroup(const ExecutionRequest& request, const ExecutionFile& file) {
  const bool blService = request.blService && isSystemdRunning();
  const bool blScope = !blService && isSystemdRunning() && registerWithSystemd(request);
  const std::optional<ControlGroup> own = ControlGroup::own();
  if (!own) {
    return;
  }
  if (blService) {
    file.noteGroup(own->parent().path());
    return;
  }
  const ControlGroup unit =
      blScope ? *own : own->below("eorva-" + std::filesystem::path(file.path()).filename().string());
  // Before it exists: if the watch is killed, the next command removes what is noted.
  file.noteGroup(unit.path());
  try {
    unit.create();
    if (!unit.canKill()) {
      throw Failure("the kernel cannot kill control groups");
    }
    enterWatch(unit);
  } catch (const Failure& failure) {
    sendMessage(fmt::format("{}; the execution continues without control groups", failure.what()));
    file.noteGroup("");
  }
}

void enterServiceGroup() {
  if (const std::optional<ControlGroup> own = ControlGroup::own(); own && isSystemdRunning()) {
    enterWatch(*own);
  }
}

RunGroupEntry enterRunGroup(const std::string& strExecution, unsigned cMax, std::uint64_t cbMemory) {
  const ControlGroup unit(strExecution);
  // The kernel can give the process id of an ended run again while background processes of that run keep its group.
  for (unsigned i = 1;; ++i) {
    std::string strName = fmt::format("{}{}{}", RUN_PREFIX, getpid(), i == 1 ? "" : fmt::format("-{}", i));
    const ControlGroup group = unit.below(strName);
    if (group.create() || (!group.isPopulated() && group.remove() && group.create())) {
      group.limitProcesses(cMax);
      const bool blLimited = cbMemory == 0 || group.limitMemory(cbMemory);
      const int iMemoryError = blLimited ? 0 : errno;
      group.enter();
      return {std::move(strName), iMemoryError};
    }
  }
}

std::vector<std::string> populatedRuns(const std::string& strExecution) {
  std::vector<std::string> vecGroups;
  if (strExecution.empty()) {
    return vecGroups;
  }
  for (const ControlGroup& group : ControlGroup(strExecution).groupsBelow()) {
    if (!group.path().ends_with(std::string("/") + WATCH) && group.isPopulated()) {
      vecGroups.push_back(group.path());
    }
  }
  return vecGroups;
}

bool leaveExecutionGroup(const std::string& strExecution) {
  if (strExecution.empty()) {
    return true;
  }
  const ControlGroup unit(strExecution);
  if (isSystemdRunning()) {
    // Removes empty groups; systemd removes the rest with the unit.
    unit.remove();
    return true;
  }
  try {
    unit.parent().enter();
  } catch (const Failure&) {
    return false;
  }
  return unit.remove();
}

}  // namespace Host
