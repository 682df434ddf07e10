/// \file event_answers.h
/// Events, plans and explanations as JSON for programs: see docs/command-json.md.

#pragma once

#include <functional>
#include <json/value.h>
#include <map>
#include <string>

namespace Host {

struct EventPlan;
struct EventState;
struct Explanation;

Json::Value eventForPrograms(const EventState& event);

/// \param owners  name of the owner of every task, by the task's name.
Json::Value planForPrograms(const std::string& strEvent, const EventPlan& plan,
                            const std::map<std::string, std::string>& owners);

/// \param fnRun  makes the JSON of a run record.
Json::Value explanationForPrograms(const Explanation& explanation,
                                   const std::function<Json::Value(const Json::Value&)>& fnRun);

/// Says that an event is disabled, with the command that enables it.
/// \return empty for an enabled event, or when the state is unknown.
std::string disabledEventNote(const std::string& strEvent);

}  // namespace Host
