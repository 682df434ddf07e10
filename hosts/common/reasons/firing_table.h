/// \file firing_table.h
/// What is remembered of the last times that each event was fired.
///
/// Run records tell what an event has started. What it has not started, and why not, is known at that moment alone:
/// a task is enabled again, a run that was in the way ends. So it is written down then, in the store, where it survives
/// a reboot, goes into a backup, and follows a task to its new name.

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
  Json::Int64 iFired = 0;       ///< when the event happened
  Json::Int64 iBegun = 0;       ///< when its tasks were looked at
  Json::Int64 iEnded = 0;       ///< when all was over; 0 before that, and for ever when it was cut off
  Json::Int64 iEventTime = 0;   ///< `event_fire_time` of its runs; 0 when there was none, or it has not ended
  Json::Int64 iLastResult = 0;  ///< runs up to this one are older
  std::string strProblem;       ///< why none of its tasks could be run
};

/// The tasks that an event had, with why they were not started; without reasons, when they were, or were to be.
using FiringReasons = std::map<std::string, std::vector<Reason>>;

class FiringTable {
public:
  /// \param session  borrowed.
  /// \throw std::exception when the store has no place for that.
  explicit FiringTable(Session& session);

  /// Adds a firing, and forgets all but the last few of its event.
  /// \return its id. \throw Failure; here and below.
  Json::Int64 add(const Firing& firing, const FiringReasons& mapReasons);

  /// Writes down its end, and reasons besides those that are there.
  void end(const Firing& firing, const FiringReasons& mapReasons);

  /// The last time that an event was fired.
  std::optional<Firing> newest(const std::string& strEvent);

  std::optional<Firing> find(Json::Int64 iFiring);

  FiringReasons reasonsOf(Json::Int64 iFiring);

private:
  void forgetOld(const std::string& strEvent);

  OrvaJsonDbApi m_firings;
  OrvaJsonDbApi m_tasks;
};

}  // namespace Host
