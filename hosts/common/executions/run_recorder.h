/// \file run_recorder.h
/// Adds members to the records of the runs that the library starts and closes.
///
/// The library calls the platform at fixed points: before it writes a record, before it looks at its children, and in
/// the child. So the identity of a run's process, its true end and its cost get into the record in the library's own
/// writes: no other process writes to it, and no reader sees half of it.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/config/settings.h"
#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/runs/retries.h"
#include "common/support/files.h"
#include "common/tasks/run_settings.h"
#include "end_reports.h"
#include "run_child.h"
#include "turns.h"

class OrvaJsonDbApi;

namespace Host {

class Session;

/// Registers for its lifetime. Only one in a process.
class RunRecorder {
public:
  /// \param session  the session of the library; borrowed, like all others.
  /// \param file     the file of the execution, of which this process has a descriptor.
  /// \param lock     the announced tasks. A task is withdrawn when it has started: then its open run protects it.
  RunRecorder(Session& session, ExecutionFile& file, TaskLock& lock, Turns& turns, const EndReports& ends);
  ~RunRecorder();

  RunRecorder(const RunRecorder&) = delete;
  RunRecorder& operator=(const RunRecorder&) = delete;

  /// Tells whether this execution has started a task, whether its last run has been closed, and whether that failed.
  bool hasStarted(const std::string& strTask) const { return m_setStarted.count(strTask) > 0; }
  bool hasEnded(const std::string& strTask) const {
    return m_setEnded.count(strTask) > 0 && !m_retries.isOpen(strTask);
  }
  bool hasSucceeded(const std::string& strTask) const { return m_setSucceeded.count(strTask) > 0; }

  Retries& retries() { return m_retries; }

  /// Waits until a retry is due, or somebody has stopped one. \return false when none is waiting, or the execution is
  /// to end.
  bool waitForRetry();

  /// Takes the tasks whose retry is due and was not stopped. \throw Failure
  std::vector<std::string> takeRetries();

  /// Tells whether the settings from setTasks() allow another try of a task.
  bool mayRetry(const std::string& strTask) const;

  /// Takes over the owners and settings of these tasks.
  void setTasks(const Json::Value& jTasks);

private:
  struct Run {
    pid_t pid = 0;
    std::string strTask;
    Json::Value jRecord;  ///< as it was at the begin
  };

  struct TaskFacts {
    Json::Int64 iLimit = 0;
    Json::Int64 iOwner = -1;
    std::string strOwner;  ///< empty when no name is stored
    RunSettings settings;
  };

  void onWrite(OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value& jRecord);
  void onBegin(Json::Value& jRun);
  void onClose(const Json::Value& jFilter, Json::Value& jUpdate);
  void addEnd(const Run& run, Json::Value& jUpdate) const;
  void noteOutcome(const Run& run, Json::Int64 iRun, const Json::Value& jUpdate);
  bool isRetryStopped(const std::string& strTask) const;
  static void describeForMail(const Json::Value& jRun);
  static void tellEnd(const Run& run, Json::Int64 iRun, const Json::Value& jUpdate);
  void rememberNew(const Run& run);
  void settle();
  void wait();
  static void beforeFork();
  static void inChild();
  bool learnTask();
  void nameTask();

  Session& m_session;
  ExecutionFile& m_file;
  TaskLock& m_lock;
  Turns& m_turns;
  const EndReports& m_ends;
  RunStart m_start;
  pid_t m_pid;
  std::map<std::string, TaskFacts> m_mapTasks;
  std::map<Json::Int64, Run> m_mapOpen;  ///< by number of the run
  Run m_new;                             ///< its number is not known yet
  std::optional<Pipe> m_naming;          ///< through which the process of a new run learns its task
  std::set<std::string> m_setStarted;
  std::set<std::string> m_setEnded;
  std::set<std::string> m_setSucceeded;  ///< by their last runs
  Retries m_retries;
  std::map<std::string, Json::Int64> m_mapFailed;  ///< the last run that is repeated, by task
  Json::Value m_jFireTime;                         ///< of the first run; all runs of an execution have the same
  bool m_blDirty = false;                          ///< something was written since the last note
};

}  // namespace Host
