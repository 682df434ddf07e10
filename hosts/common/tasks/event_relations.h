/// \file event_relations.h
/// The relations of the tasks of an event to others.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

class Session;

/// Lists, as listRelations() does, the tasks that a firing of the event has to know: its own, those that wait for them,
/// those that all these wait for, directly or through others, and those with names that the library could take for
/// theirs. A graph of them says the same about the event as a graph of all tasks.
/// \throw Failure when the store fails.
Json::Value listEventRelations(Session& session, const std::string& strEvent);

}  // namespace Host
