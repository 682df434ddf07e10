/// \file reconcile.h
/// Closes the records of interrupted runs.

#pragma once

#include <json/value.h>
#include <vector>

namespace Host {

class Session;

/// Settles executions that were killed, and closes open runs whose process is gone otherwise as interrupted. Removes
/// ended processes from the running lists.
/// \return the new records of the closed runs.
std::vector<Json::Value> reconcile(Session& session);

}  // namespace Host
