/// \file progress.h
/// The progress of an execution.

#pragma once

#include <functional>
#include <json/value.h>
#include <map>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/reasons/firing.h"

namespace Host {

class Session;
struct ExecutionPlan;

/// Follows an execution through the records that it writes.
class Progress {
public:
  /// \param plan  borrowed.
  explicit Progress(const ExecutionPlan& plan);

  /// Reads the records of the runs of these processes, as far as they are new.
  /// \param fnChildren  gives the processes of all runs so far; called after the records were read, for each process is
  ///                    noted before its run is recorded.
  /// \return the runs that began or ended since the last time, in the order of their numbers.
  std::vector<Json::Value> poll(Session& session, const std::function<std::set<pid_t>()>& fnChildren);

  /// Every run so far, by its number.
  const std::map<Json::Int64, Json::Value>& runs() const { return m_mapRuns; }

  /// The runs so far that did not end with exit status 0, without those that were repeated.
  std::vector<Json::Value> failedRuns() const;

  /// How many runs were repeated because they had failed.
  std::size_t repeatedRuns() const { return m_mapRuns.size() - m_mapNewest.size(); }

  /// Planned tasks that have not been started.
  std::vector<std::string> notStarted() const;

  /// The tasks of the event that were not started, and why, as far as that is recorded.
  std::vector<LeftOut> leftOut(Session& session) const;

private:
  bool hasRunOf(const std::string& strTask) const;

  const ExecutionPlan& m_plan;
  std::map<Json::Int64, Json::Value> m_mapRuns;
  std::map<std::string, Json::Int64> m_mapNewest;  ///< by task: its newest run
  std::set<Json::Int64> m_setOpen;
  Json::Int64 m_iLastRun;
};

}  // namespace Host
