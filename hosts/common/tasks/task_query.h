/// \file task_query.h
/// Finds tasks.

#pragma once

#include <array>
#include <optional>
#include <string>
#include <sys/types.h>

namespace Host {

class Session;

/// Conditions for tasks. A condition that is not set matches every task.
struct TaskQuery {
  std::string strEvent;
  std::optional<uid_t> owner;
  std::string strState;  ///< one of TASK_STATES
  std::string strText;   ///< in the name, the description or the script; upper and lower case are the same
};

/// By the task's switch, or by its runs.
inline constexpr std::array<const char*, 6> TASK_STATES = {"enabled", "disabled", "running", "ok", "failed", "never"};

/// A WHERE text for the tasks that match. \throw Failure when there is no such event.
std::string whereTask(Session& session, const TaskQuery& query);

}  // namespace Host
