/// \file event_answers.h
/// Events, plans and explanations for programs; docs/command-json.md tells their members.

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

/// \param fnRun  gives a run record the form for programs.
Json::Value explanationForPrograms(const Explanation& explanation,
                                   const std::function<Json::Value(const Json::Value&)>& fnRun);

/// Says that what fires an event of the catalogue is switched off, with the command that switches it on.
/// \return empty when it is not, or when that is not known.
std::string disabledEventNote(const std::string& strEvent);

}  // namespace Host
