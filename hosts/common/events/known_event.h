/// \file known_event.h
/// Events that can be meant: those of the catalogue, and those that tasks are bound to.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// An event that nobody knows was most likely mistyped.
/// \param jTasks  array: the stored task records.
/// \throw Failure when there is no such event.
void requireEvent(const Json::Value& jTasks, const std::string& strEvent);

}  // namespace Host
