/// \file scheduler_section.h
/// The section of the configuration that the library reads.

#pragma once

#include <json/value.h>

namespace Host {

/// Gives the scheduler's section of the configuration; an empty object when there is none.
Json::Value schedulerConfig();

}  // namespace Host
