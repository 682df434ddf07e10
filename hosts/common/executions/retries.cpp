#include "retries.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fmt/format.h>
#include <poll.h>
#include <string_view>

#include "common/runs/outcome.h"
#include "common/text/duration.h"
#include "common/text/json_members.h"
#include "end_request.h"
#include "messages.h"

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

void Retries::end(const std::string& strTask, const Json::Value& jEnd, const RunSettings& settings) {
  Task& task = m_mapTasks[strTask];
  task.blOpen = outcomeOf(jEnd).kind == Outcome::Kind::FAILED && !isEndedOnPurpose(textOf(jEnd, "ended_by")) &&
                task.cTries <= settings.cRetries && !isAskedToEnd();
  if (task.blOpen) {
    task.due = Clock::now() + std::chrono::seconds(settings.cRetryAfter);
    sendMessage(fmt::format("the task \"{}\" failed; try {} of {} follows after {}", strTask, task.cTries + 1,
                            settings.cRetries + 1, durationText(settings.cRetryAfter)));
  }
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

bool sleepUntil(Retries::Clock::time_point time) {
  // A request between the question and the sleep must not be missed.
  sigset_t requests;
  sigset_t before;
  sigemptyset(&requests);
  for (const int iSignal : END_SIGNALS) {
    sigaddset(&requests, iSignal);
  }
  sigprocmask(SIG_BLOCK, &requests, &before);
  for (auto left = time - Retries::Clock::now(); !isAskedToEnd() && left.count() > 0;
       left = time - Retries::Clock::now()) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec pause{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
    ppoll(nullptr, 0, &pause, &before);
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return !isAskedToEnd();
}

}  // namespace Host
