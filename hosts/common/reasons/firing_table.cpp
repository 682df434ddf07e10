#include "firing_table.h"

#include "eorvascheduler.h"

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

/// How many of an event: its executions can overlap, and each records its end.
constexpr Json::ArrayIndex KEPT_FIRINGS = 4;

Json::Value definitions() {
  Json::Value jDefinitions;
  if (loadTableDef(jDefinitions) < 0) {
    throw Failure("cannot read the definitions of the store's tables");
  }
  return jDefinitions;
}

std::vector<Reason> reasonsFromJson(const Json::Value& jReasons) {
  std::vector<Reason> vecReasons;
  for (const Json::Value& jReason : jReasons.isArray() ? jReasons : Json::Value(Json::arrayValue)) {
    vecReasons.push_back(reasonOf(jReason));
  }
  return vecReasons;
}

Firing firingFromJson(const Json::Value& jFiring) {
  return {intOf(jFiring, "firing_id"),   textOf(jFiring, "event"),   intOf(jFiring, "fire_time"),
          intOf(jFiring, "begin_time"),  intOf(jFiring, "end_time"), intOf(jFiring, "event_fire_time"),
          intOf(jFiring, "last_result"), textOf(jFiring, "problem")};
}

void setEnd(Json::Value& jFiring, const Firing& firing) {
  if (firing.iEndedAt != 0) {
    jFiring["end_time"] = firing.iEndedAt;
    jFiring["event_fire_time"] = firing.iEventFireTime;
  }
}

Json::Value list(OrvaJsonDbApi& table, const Json::Value& jFilter) {
  Json::Value jRows;
  if (table.recList(jFilter, jRows) < 0 || !jRows.isArray()) {
    throw Failure("cannot read the recorded firings of events from the store");
  }
  return jRows;
}

void demand(bool blDone) {
  if (!blDone) {
    throw Failure("cannot record the firing of the event in the store");
  }
}

}  // namespace

FiringTable::FiringTable(Session& session)
    : m_firings(session.db(), "firing", definitions(), ""), m_tasks(session.db(), "firing_task", definitions(), "") {}

Json::Int64 FiringTable::add(const Firing& firing, const FiringReasons& mapReasons) {
  Json::Value jFiring = objectOf({{"event", firing.strEvent},
                                  {"fire_time", firing.iFiredAt},
                                  {"begin_time", firing.iBegunAt},
                                  {"last_result", firing.iLastRun}});
  if (!firing.strProblem.empty()) {
    jFiring["problem"] = firing.strProblem;
  }
  setEnd(jFiring, firing);
  Json::Value jCreated;
  demand(m_firings.recCreate(jFiring, jCreated) >= 0);
  const Json::Int64 iFiring = intOf(jCreated, "firing_id");
  for (const auto& [strTask, vecReasons] : mapReasons) {
    demand(m_tasks.recCreate(
               objectOf({{"firing_id", iFiring}, {"task_name", strTask}, {"reasons", arrayOf(vecReasons, &recordOf)}}),
               jCreated) >= 0);
  }
  forgetOld(firing.strEvent);
  return iFiring;
}

void FiringTable::end(const Firing& firing, const FiringReasons& mapReasons) {
  Json::Value jFiring(Json::objectValue);
  setEnd(jFiring, firing);
  demand(m_firings.recUpdateByFilter(objectOf({{"firing_id", firing.iId}}), jFiring) >= 0);
  for (const auto& [strTask, vecReasons] : mapReasons) {
    const Json::Value jFilter = objectOf({{"firing_id", firing.iId}, {"task_name", strTask}});
    demand(m_tasks.recUpdateByFilter(jFilter, objectOf({{"reasons", arrayOf(vecReasons, &recordOf)}})) >= 0);
  }
}

std::optional<Firing> FiringTable::newest(const std::string& strEvent) {
  const Json::Value jFirings = list(m_firings, objectOf({{"event", strEvent}}));
  return jFirings.empty() ? std::nullopt : std::optional(firingFromJson(jFirings[jFirings.size() - 1]));
}

std::optional<Firing> FiringTable::find(Json::Int64 iFiring) {
  const Json::Value jFirings = list(m_firings, objectOf({{"firing_id", iFiring}}));
  return jFirings.empty() ? std::nullopt : std::optional(firingFromJson(jFirings[0]));
}

FiringReasons FiringTable::reasonsOf(Json::Int64 iFiring) {
  FiringReasons mapReasons;
  for (const Json::Value& jTask : list(m_tasks, objectOf({{"firing_id", iFiring}}))) {
    mapReasons[textOf(jTask, "task_name")] = reasonsFromJson(memberOf(jTask, "reasons"));
  }
  return mapReasons;
}

void FiringTable::forgetOld(const std::string& strEvent) {
  const Json::Value jFirings = list(m_firings, objectOf({{"event", strEvent}}));
  for (Json::ArrayIndex i = 0; i + KEPT_FIRINGS < jFirings.size(); ++i) {
    demand(m_firings.recDelete(objectOf({{"firing_id", intOf(jFirings[i], "firing_id")}}), false) >= 0);
  }
}

}  // namespace Host
