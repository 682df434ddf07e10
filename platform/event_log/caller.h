/// \file caller.h
/// The person behind this process.

#pragma once

#include <string>

namespace orva {

/// The user who called sudo, or else the user who logged in; empty when neither is known, as for a service.
std::string callerName();

}  // namespace orva
