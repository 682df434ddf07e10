#include "task_change_lock.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>

#include "common/runs/running_list.h"
#include "common/support/failure.h"

namespace Host {

namespace {

[[noreturn]] void failBusy(const std::string& strTask, const char* szDone) {
  throw Failure(
      fmt::format("the task \"{}\" cannot be {} now: an execution may still start it, or another command is "
                  "changing it; try again later",
                  strTask, szDone));
}

void refuseRunning(Session& session, const std::vector<std::string>& vecTasks, const char* szDone) {
  for (const std::string& strTask : vecTasks) {
    if (const std::vector<pid_t> vecPids = livePidsOf(session, strTask); !vecPids.empty()) {
      throw Failure(fmt::format("the task \"{}\" is running (process {}) and cannot be {} now", strTask,
                                fmt::join(vecPids, ", "), szDone));
    }
  }
}

}  // namespace

TaskChange::TaskChange(Session& session, const std::vector<std::string>& vecTasks, const char* szDone, Running running,
                       std::chrono::milliseconds limit) {
  if (const auto busy = m_lock.tryChange(vecTasks, limit)) {
    failBusy(*busy, szDone);
  }
  if (running == Running::REFUSED) {
    refuseRunning(session, vecTasks, szDone);
  }
}

TaskChange::TaskChange(Session& session, const Subtree& subtree, const char* szDone, std::chrono::milliseconds limit) {
  std::vector<std::string> vecAll = subtree.vecTasks;
  vecAll.insert(vecAll.end(), subtree.vecDependants.begin(), subtree.vecDependants.end());
  const std::optional<std::string> busy = m_lock.tryChange(vecAll, limit);
  const std::vector<std::string>& vecTasks = subtree.vecTasks;
  if (busy && std::find(vecTasks.begin(), vecTasks.end(), *busy) != vecTasks.end()) {
    failBusy(*busy, szDone);
  }
  // Reported first: the more useful reason.
  refuseRunning(session, vecTasks, szDone);
  if (busy) {
    throw Failure(fmt::format(
        "the task \"{}\" cannot be {} now: \"{}\" waits for it, and an execution may still start \"{}\", or "
        "another command is changing it; try again later",
        vecTasks.front(), szDone, *busy, *busy));
  }
}

Standstill::Standstill(const char* szDone, std::chrono::milliseconds limit) {
  if (!m_lock.tryChangeAll(limit)) {
    throw Failure(fmt::format(
        "nothing can be {} now: an execution may still start a task, or another command is changing one; try "
        "again later",
        szDone));
  }
}

}  // namespace Host
