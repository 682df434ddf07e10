#include "retries.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "common/text/json_members.h"
#include "outcome.h"

namespace Host {

namespace {

/// Somebody wanted these runs to end.
bool isEndedOnPurpose(const std::string& strEndedBy) {
  constexpr std::array<std::string_view, 3> REASONS = {ENDED_STOPPED, ENDED_BUDGET, ENDED_SHUTDOWN};
  return std::find(REASONS.begin(), REASONS.end(), strEndedBy) != REASONS.end();
}

}  // namespace

void Retries::begin(const std::string& strTask, Json::Value& jRun) {
  Task& task = m_mapTasks[strTask];
  task.due.reset();
  if (++task.cTries > 1) {
    jRun["attempt"] = task.cTries;
    jRun["retry_of"] = task.iFirst;
  }
}

void Retries::setNumber(const std::string& strTask, Json::Int64 iRun) {
  Task& task = m_mapTasks[strTask];
  task.iFirst = task.cTries <= 1 ? iRun : task.iFirst;
}

bool Retries::end(const std::string& strTask, const Json::Value& jEnd, Json::Int64 cRetries,
                  std::chrono::seconds after) {
  Task& task = m_mapTasks[strTask];
  task.blOpen = outcomeOf(jEnd).kind == Outcome::Kind::FAILED && !isEndedOnPurpose(textOf(jEnd, "ended_by")) &&
                task.cTries <= cRetries;
  if (task.blOpen) {
    task.due = Clock::now() + after;
  }
  return task.blOpen;
}

std::vector<std::string> Retries::takeDue() {
  std::vector<std::string> vecDue;
  for (auto& [strTask, task] : m_mapTasks) {
    if (task.due && *task.due <= Clock::now()) {
      task.due.reset();
      vecDue.push_back(strTask);
    } else if (!task.due) {
      task.blOpen = false;
    }
  }
  return vecDue;
}

void Retries::hasten(const std::string& strTask) {
  Task& task = m_mapTasks[strTask];
  if (task.due) {
    task.due = Clock::now();
  }
}

void Retries::giveUp(const std::string& strTask) {
  Task& task = m_mapTasks[strTask];
  task.due.reset();
  task.blOpen = false;
}

bool Retries::isOpen(const std::string& strTask) const {
  const auto it = m_mapTasks.find(strTask);
  return it != m_mapTasks.end() && it->second.blOpen;
}

Json::Int64 Retries::triesOf(const std::string& strTask) const {
  const auto it = m_mapTasks.find(strTask);
  return it == m_mapTasks.end() ? 0 : it->second.cTries;
}

std::optional<Retries::Clock::time_point> Retries::due() const {
  std::optional<Clock::time_point> due;
  for (const auto& [strTask, task] : m_mapTasks) {
    if (task.due) {
      due = due ? std::min(*due, *task.due) : task.due;
    }
  }
  return due;
}

}  // namespace Host
