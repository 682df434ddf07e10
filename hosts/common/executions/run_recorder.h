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
#include <set>
#include <string>
#include <sys/types.h>

#include "common/config/settings.h"
#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
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

  /// The tasks that this execution has started, and those whose runs have been closed.
  const std::set<std::string>& started() const { return m_setStarted; }
  const std::set<std::string>& ended() const { return m_setEnded; }

  /// Takes over the time limits and owners of these tasks.
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
    std::string strOwner;           ///< empty when no name is stored
    Json::Int64 iOutputLimit = -1;  ///< -1 for that of the settings
  };

  void onWrite(OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value& jRecord);
  void onBegin(Json::Value& jRun);
  void onClose(const Json::Value& jFilter, Json::Value& jUpdate);
  void addEnd(const Run& run, Json::Value& jUpdate) const;
  static void describeForMail(const Json::Value& jRun);
  static void tellEnd(const Run& run, Json::Int64 iRun, const Json::Value& jUpdate);
  void rememberNew(const Run& run);
  void settle();
  void wait();
  static void beforeFork();
  static void inChild();
  std::uint64_t outputLimitOf(const std::string& strOutput) const;

  Session& m_session;
  ExecutionFile& m_file;
  TaskLock& m_lock;
  Turns& m_turns;
  const EndReports& m_ends;
  RunStart m_start;
  std::uint64_t m_cbOutputLimit = outputLimitSetting();
  pid_t m_pid;
  std::map<std::string, TaskFacts> m_mapTasks;
  std::map<Json::Int64, Run> m_mapOpen;  ///< by number of the run
  Run m_new;                             ///< its number is not known yet
  std::set<std::string> m_setStarted;
  std::set<std::string> m_setEnded;
  bool m_blDirty = false;  ///< something was written since the last note
};

}  // namespace Host
