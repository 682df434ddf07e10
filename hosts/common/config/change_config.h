/// \file change_config.h
/// Changing the configuration: checking and setting under one lock.

#pragma once

#include "configuration.h"

namespace Host {

/// Sets values: all of them or none.
/// \param blForce  true: output can be switched off with tasks of several owners, whose scripts then share one file.
/// \throw UsageFailure for an unknown key; Failure with all other errors.
void changeConfig(const ConfigValues& values, bool blForce = false);

/// Sets values under a lock that the caller holds. \param setOwners  owners of the tasks.
void changeConfig(const ConfigLock& lock, const ConfigValues& values, const std::set<Json::Int64>& setOwners);

}  // namespace Host
