/// \file firing_table.h
/// Records of the last times that each event was fired.
///
/// Run records tell which tasks an event started. The reasons against other tasks are known only then: a task may be
/// enabled later. So the reasons are stored then. There they survive a reboot, go into backups, and follow a renamed
/// task.

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "orva_platform.h"

#include "reason.h"

namespace Host {

class Session;

struct Firing {
  Json::Int64 iId = 0;
  std::string strEvent;
  Json::Int64 iFiredAt = 0;        ///< when the event happened
  Json::Int64 iBegunAt = 0;        ///< when its execution was planned
  Json::Int64 iEndedAt = 0;        ///< when its execution ended; 0 before that, and after an interruption
  Json::Int64 iEventFireTime = 0;  ///< `event_fire_time` of its runs; 0 without a run, or before the end
  Json::Int64 iLastRun = 0;        ///< runs up to this one are older
  std::string strProblem;          ///< why no task could be run
};

/// The reasons why tasks of an event were not started, by task; empty for tasks that were to be started.
using FiringReasons = std::map<std::string, std::vector<Reason>>;

class FiringTable {
public:
  /// \param session  borrowed.
  /// \throw std::exception when the store lacks the tables.
  explicit FiringTable(Session& session);

  /// Adds a firing, and deletes old ones of its event.
  /// \return its id. \throw Failure; here and below.
  Json::Int64 add(const Firing& firing, const FiringReasons& mapReasons);

  /// Records its end, and more reasons.
  void end(const Firing& firing, const FiringReasons& mapReasons);

  /// The last firing of an event.
  std::optional<Firing> newest(const std::string& strEvent);

  std::optional<Firing> find(Json::Int64 iFiring);

  FiringReasons reasonsOf(Json::Int64 iFiring);

private:
  void forgetOld(const std::string& strEvent);

  OrvaJsonDbApi m_firings;
  OrvaJsonDbApi m_tasks;
};

}  // namespace Host
