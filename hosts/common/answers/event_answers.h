/// \file event_answers.h
/// Events, plans and explanations as JSON for programs: see docs/command-json.md.

#pragma once

#include <json/value.h>
#include <string>

#include "task_answers.h"

namespace Host {

struct EventPlan;
struct EventState;
struct Explanation;

Json::Value eventForPrograms(const EventState& event);

Json::Value planForPrograms(const std::string& strEvent, const EventPlan& plan, const OwnerNames& owners);

Json::Value explanationForPrograms(const Explanation& explanation);

/// Says that an event is disabled, with the command that enables it.
/// \return empty for an enabled event, or when the state is unknown.
std::string disabledEventNote(const std::string& strEvent);

}  // namespace Host
