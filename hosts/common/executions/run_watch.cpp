#include "run_watch.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "common/runs/outcome.h"
#include "common/support/failure.h"
#include "messages.h"

namespace Host {

namespace {

/// Pause between two looks while runs are being ended.
constexpr std::chrono::milliseconds ENDING_PAUSE(20);

}  // namespace

/// Follows one run through its notes.
void RunWatch::take(pid_t pid, const RunNotes& run) {
  if (run.blClosed) {
    m_setOpen.erase(pid);
    m_mapDeadlines.erase(pid);
    return;
  }
  if (m_setOpen.insert(pid).second && m_szEndAll != nullptr) {
    endNow(pid, m_szEndAll);
  }
  if (run.limit.count() > 0 && run.strEndedBy.empty()) {
    m_mapDeadlines.try_emplace(pid, Clock::now() + run.limit);
  } else {
    m_mapDeadlines.erase(pid);
  }
  // A run that has not begun would be asked before there is a script.
  if (run.blBegun && !run.strEndedBy.empty()) {
    end(pid, run.grace);
  }
}

void RunWatch::end(pid_t pid, std::chrono::seconds grace) {
  m_mapEndings.try_emplace(pid, RunGroup(m_file.notes().groupOf(pid), pid, m_file.notes().mapRuns.at(pid).ticksStart),
                           grace);
}

/// The script of a run may have ended in time, while its process hangs when it shows the output.
void RunWatch::endNow(pid_t pid, const char* szWhy) {
  if (m_file.notes().mapRuns.at(pid).status) {
    end(pid, m_grace);
    return;
  }
  try {
    m_file.noteEnding(pid, szWhy, m_grace);
  } catch (const Failure& failure) {
    // The record will lack the reason, but the run is ended.
    sendMessage(failure.what());
    end(pid, m_grace);
  }
}

void RunWatch::endOverdue() {
  const auto now = Clock::now();
  std::vector<pid_t> vecOverdue;
  for (const auto& [pid, deadline] : m_mapDeadlines) {
    if (now >= deadline) {
      vecOverdue.push_back(pid);
    }
  }
  for (const pid_t pid : vecOverdue) {
    m_mapDeadlines.erase(pid);
    endNow(pid, ENDED_TIME_LIMIT);
  }
}

void RunWatch::look() {
  endOverdue();
  // The notes of this object are read in the next round.
  for (std::set<pid_t> setNew = m_file.update(); !setNew.empty(); setNew = m_file.update()) {
    for (const pid_t pid : setNew) {
      take(pid, m_file.notes().mapRuns.at(pid));
    }
  }
  for (auto it = m_mapEndings.begin(); it != m_mapEndings.end();) {
    it = it->second.step() ? m_mapEndings.erase(it) : std::next(it);
  }
}

void RunWatch::endAll(const char* szWhy) {
  if (m_szEndAll == nullptr) {
    m_szEndAll = szWhy;
    for (const pid_t pid : m_setOpen) {
      endNow(pid, szWhy);
    }
  }
  look();
}

std::optional<RunWatch::Clock::time_point> RunWatch::due() const {
  std::optional<Clock::time_point> due;
  if (!m_mapEndings.empty()) {
    due = Clock::now() + ENDING_PAUSE;
  }
  for (const auto& [pid, deadline] : m_mapDeadlines) {
    due = due ? std::min(*due, deadline) : deadline;
  }
  return due;
}

}  // namespace Host
