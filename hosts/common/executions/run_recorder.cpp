#include "run_recorder.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fmt/format.h>
#include <optional>
#include <pthread.h>
#include <sqlite3.h>
#include <unistd.h>
#include <utility>

#include "orva_platform.h"

#include "common/config/settings.h"
#include "common/runs/outcome.h"
#include "common/runs/run_group.h"
#include "common/runs/run_identity.h"
#include "common/runs/settlement.h"
#include "common/server/users.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/control_group.h"
#include "common/support/failure.h"
#include "common/support/file_alarm.h"
#include "common/text/duration.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"
#include "end_request.h"
#include "messages.h"

namespace Host {

namespace {

RunRecorder* g_pRecorder = nullptr;

void addUsage(const ControlGroup::Usage& usage, Json::Value& jUpdate) {
  const std::array<std::pair<const char*, std::optional<std::uint64_t>>, 4> MEMBERS = {
      {{"cpu_usec", usage.cpuMicroseconds},
       {"memory_peak", usage.cbPeakMemory},
       {"io_read", usage.cbRead},
       {"io_written", usage.cbWritten}}};
  for (const auto& [szMember, value] : MEMBERS) {
    if (value) {
      jUpdate[szMember] = static_cast<Json::Int64>(*value);
    }
  }
  if (usage.blOutOfMemory) {
    jUpdate["extra"][OUT_OF_MEMORY] = true;
  }
}

/// A library must not get an exception through its own functions.
template <typename Step>
void attempt(Step step) {
  try {
    step();
  } catch (const std::exception& error) {
    sendMessage(fmt::format("{}; the execution continues", error.what()));
  }
}

}  // namespace

RunRecorder::RunRecorder(Session& session, ExecutionFile& file, TaskLock& lock, Turns& turns, const EndReports& ends)
    : m_session(session), m_file(file), m_lock(lock), m_turns(turns), m_ends(ends), m_pid(getpid()) {
  m_file.update();
  m_start = {m_file.path(),
             m_file.notes().strGroup,
             maxProcessesSetting(),
             ends.writer(),
             {file.fd(), lock.fd(), turns.fd(), ends.reader()},
             outputLimitSetting()};
  g_pRecorder = this;
  ORVAStoreOnWrite(
      [](void* pThis, OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value* pRecord) {
        attempt([&] { static_cast<RunRecorder*>(pThis)->onWrite(pStore, pFilter, *pRecord); });
      },
      this);
  ORVARunOnWait([](void* pThis) { attempt([&] { static_cast<RunRecorder*>(pThis)->wait(); }); }, this);
  // Waited for instead of handled.
  sigset_t child;
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  sigprocmask(SIG_BLOCK, &child, nullptr);
  pthread_atfork(&beforeFork, nullptr, &inChild);
}

RunRecorder::~RunRecorder() {
  attempt([&] { settle(); });
  ORVAStoreOnWrite(nullptr, nullptr);
  ORVARunOnWait(nullptr, nullptr);
  g_pRecorder = nullptr;
}

/// Children that deliver mail are no runs.
void RunRecorder::beforeFork() {
  if (g_pRecorder != nullptr) {
    attempt([] {
      g_pRecorder->m_naming.reset();
      if (ORVAMailIsForking() == 0) {
        g_pRecorder->m_naming.emplace();
      }
      g_pRecorder->settle();
    });
  }
}

void RunRecorder::inChild() {
  if (g_pRecorder != nullptr && ORVAMailIsForking() == 0) {
    const bool blKnown = g_pRecorder->learnTask();
    beginRun(g_pRecorder->m_start, g_pRecorder->m_pid, !blKnown || isAskedToEnd());
  }
}

/// The process of a run is forked before the library names its task. So it waits until the run is about to be recorded.
/// \return false when that will not happen.
bool RunRecorder::learnTask() {
  if (!m_naming) {
    return false;
  }
  m_naming->writer.reset();
  try {
    m_start.strTask = readAll(m_naming->reader.get(), "the name of a task");
  } catch (const Failure& failure) {
    sendMessage(failure.what());
  }
  m_naming.reset();
  const TaskFacts& task = m_mapTasks[m_start.strTask];
  m_start.settings = task.settings;
  m_start.cbOutputLimit = task.settings.outputLimit.value_or(m_start.cbOutputLimit);
  return !m_start.strTask.empty();
}

void RunRecorder::setTasks(const Json::Value& jTasks) {
  for (const Json::Value& jTask : jTasks) {
    m_mapTasks[textOf(jTask, "task_name")] = {intOf(jTask, "time_limit"), intOf(jTask, "owner", -1),
                                              textOf(jTask, "owner_name"), runSettingsOf(jTask)};
  }
}

bool RunRecorder::mayRetry(const std::string& strTask) const {
  const auto it = m_mapTasks.find(strTask);
  return it != m_mapTasks.end() && m_retries.triesOf(strTask) <= it->second.settings.cRetries;
}

/// The library records a run in one write, so the last number is that of the new run, unless the write failed.
void RunRecorder::rememberNew(const Run& run) {
  const Json::Int64 iRun = sqlite3_last_insert_rowid(m_session.db());
  if (hasRun(m_session, fmt::format("result_id = {} and pid = {}", iRun, run.pid))) {
    m_mapOpen[iRun] = run;
    m_retries.setNumber(run.strTask, iRun);
    m_lock.withdraw(run.strTask);
    return;
  }
  // Nobody could see it, stop it, or keep a second run of its task from starting beside it.
  m_file.update();
  RunGroup(m_file.notes().groupOf(run.pid), run.pid).kill();
  ::kill(run.pid, SIGKILL);
  sendMessage(fmt::format("a run of \"{}\" could not be recorded, and was ended", run.strTask));
}

/// All that was written before is in the store by now.
void RunRecorder::settle() {
  if (m_new.pid != 0) {
    rememberNew(std::exchange(m_new, {}));
  }
  if (std::exchange(m_blDirty, false)) {
    m_file.noteStored();
  }
}

void RunRecorder::onWrite(OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value& jRecord) {
  if (pStore != m_session.runs()) {
    return;
  }
  // If an earlier run cannot be looked up, the new one gets its name nevertheless.
  attempt([this] { settle(); });
  m_blDirty = true;
  if (pFilter == nullptr) {
    onBegin(jRecord);
  } else if (jRecord.isMember("stop_time")) {
    onClose(*pFilter, jRecord);
  }
}

/// Lets the process of the new run go on.
void RunRecorder::nameTask() {
  if (m_naming) {
    static_cast<void>(write(m_naming->writer.get(), m_new.strTask.data(), m_new.strTask.size()));
    m_naming.reset();
  }
}

void RunRecorder::onBegin(Json::Value& jRun) {
  m_new = {pidOf(jRun), textOf(jRun, "task_name"), {}};
  nameTask();
  m_retries.begin(m_new.strTask, jRun);
  if (m_jFireTime.isNull()) {
    m_jFireTime = jRun["event_fire_time"];
  }
  // The library begins anew for a retry.
  jRun["event_fire_time"] = m_jFireTime;
  m_setStarted.insert(m_new.strTask);
  const std::optional<ProcessStatus> status = processStatus(m_new.pid);
  if (status) {
    ORVA_JSON_DB::jsonCopyMember(jRun, identityOf(*status), true);
  }
  const TaskFacts& task = m_mapTasks[m_new.strTask];
  if (task.iOwner >= 0) {
    jRun["owner"] = task.iOwner;
    jRun["owner_name"] = task.strOwner.empty() ? userName(static_cast<uid_t>(task.iOwner)) : task.strOwner;
  }
  m_new.jRecord = jRun;
  // Before the record is there, so that nobody takes the run for an interrupted one.
  m_file.noteRun(m_new.pid, std::chrono::seconds(task.iLimit));
}

void RunRecorder::onClose(const Json::Value& jFilter, Json::Value& jUpdate) {
  // Values of another run must not be in the mail about this one.
  ORVAMailAddValue(nullptr, nullptr);
  const auto node = m_mapOpen.extract(intOf(jFilter, "result_id"));
  if (!node) {
    return;
  }
  const Run& run = node.mapped();
  m_setEnded.insert(run.strTask);
  m_ends.collect(m_file);
  m_file.update();
  addEnd(run, jUpdate);
  const Json::Int64 iRun = node.key();
  noteOutcome(run, iRun, jUpdate);
  tellEnd(run, iRun, jUpdate);
  m_file.noteClosed(run.pid);
  m_turns.takeToClose(run.strTask);
}

void RunRecorder::noteOutcome(const Run& run, Json::Int64 iRun, const Json::Value& jUpdate) {
  if (outcomeOf(jUpdate).kind == Outcome::Kind::OK) {
    m_setSucceeded.insert(run.strTask);
  } else {
    m_setSucceeded.erase(run.strTask);
  }
  const RunSettings& settings = m_mapTasks[run.strTask].settings;
  const std::chrono::seconds after(settings.cRetryAfter);
  if (!isAskedToEnd() && m_retries.end(run.strTask, jUpdate, settings.cRetries, after)) {
    const TryNotes next{std::time(nullptr) + after.count(), m_retries.triesOf(run.strTask) + 1, settings.cRetries + 1};
    m_mapFailed[run.strTask] = iRun;
    m_file.noteNextTry(iRun, next);
    sendMessage(fmt::format("the task \"{}\" failed; try {} of {} follows after {}", run.strTask, next.iTry,
                            next.cTries, durationText(after.count())));
  }
}

bool RunRecorder::isRetryStopped(const std::string& strTask) const {
  const auto it = m_mapFailed.find(strTask);
  return it != m_mapFailed.end() && m_file.notes().isTryStopped(it->second);
}

bool RunRecorder::waitForRetry() {
  const std::optional<Retries::Clock::time_point> due = m_retries.due();
  if (!due) {
    return false;
  }
  const FileAlarm alarm(m_file.path());
  m_file.update();
  if (std::any_of(m_mapFailed.begin(), m_mapFailed.end(),
                  [&](const auto& failed) { return isRetryStopped(failed.first); })) {
    return !isAskedToEnd();
  }
  // Where the kernel cannot tell of changes.
  constexpr std::chrono::seconds PAUSE(1);
  return sleepUntil(alarm.isOpen() ? *due : std::min(*due, Retries::Clock::now() + PAUSE), alarm.fd());
}

std::vector<std::string> RunRecorder::takeRetries() {
  m_file.update();
  for (const auto& [strTask, iRun] : m_mapFailed) {
    if (isRetryStopped(strTask)) {
      m_retries.hasten(strTask);
    }
  }
  std::vector<std::string> vecDue = m_retries.takeDue();
  for (const std::string& strTask : vecDue) {
    m_file.noteTryBegun(m_mapFailed.at(strTask));
  }
  m_file.update();
  std::erase_if(vecDue, [&](const std::string& strTask) {
    const bool blStopped = isRetryStopped(strTask);
    if (blStopped) {
      m_retries.giveUp(strTask);
      sendMessage(fmt::format("the task \"{}\" is not run again: the retry was stopped", strTask));
    }
    m_mapFailed.erase(strTask);
    return blStopped;
  });
  return vecDue;
}

/// The library's mail about this run is sent next.
void RunRecorder::describeForMail(const Json::Value& jRun) {
  const Outcome outcome = outcomeOf(jRun);
  const std::pair<const char*, std::string> values[] = {
      {"%OWNER%", textOf(jRun, "owner_name")},
      {"%EVENT%", textOf(jRun, "trigger_event")},
      {"%RUN%", std::to_string(intOf(jRun, "result_id"))},
      {"%DURATION%", elapsedText(secondsOf(jRun))},
      {"%END%", outcome.strText},
      {"%ENDED_WELL%", outcome.kind == Outcome::Kind::OK ? "1" : "0"}};
  for (const auto& [szKey, strValue] : values) {
    ORVAMailAddValue(szKey, strValue.empty() ? nullptr : strValue.c_str());
  }
}

void RunRecorder::tellEnd(const Run& run, Json::Int64 iRun, const Json::Value& jUpdate) {
  Json::Value jEnded = run.jRecord;
  ORVA_JSON_DB::jsonCopyMember(jEnded, jUpdate, true);
  jEnded["result_id"] = iRun;
  logFailure(jEnded);
  describeForMail(jEnded);
}

void RunRecorder::addEnd(const Run& run, Json::Value& jUpdate) const {
  const ExecutionNotes& notes = m_file.notes();
  const auto it = notes.mapRuns.find(run.pid);
  const RunNotes runNotes = it == notes.mapRuns.end() ? RunNotes() : it->second;
  const std::string strGroup = notes.groupOf(run.pid);
  if (runNotes.status) {
    jUpdate["shell_status"] = *runNotes.status;
  }
  addExtra(runNotes, jUpdate);
  if (!runNotes.strEndedBy.empty()) {
    jUpdate["ended_by"] = runNotes.strEndedBy;
  } else if (!runNotes.status) {
    // Its owner or the kernel has killed its process, so nobody waits for the rest of the script.
    jUpdate["ended_by"] = ENDED_KILLED;
    RunGroup(strGroup, run.pid, runNotes.ticksStart).kill();
  }
  if (!strGroup.empty()) {
    const ControlGroup group(strGroup);
    addUsage(group.usage(), jUpdate);
    // It stays while there are background processes of the script.
    group.remove();
  }
}

void RunRecorder::wait() {
  m_naming.reset();
  settle();
  m_turns.end();
  sigset_t child;
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  // In case that something else in this process has taken the signal.
  constexpr timespec LIMIT{30, 0};
  sigtimedwait(&child, nullptr, &LIMIT);
}

}  // namespace Host
