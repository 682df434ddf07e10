/// \file change_config.h
/// Changing the configuration: what is asked for is looked over first, under the lock.

#pragma once

#include "configuration.h"

namespace Host {

/// Sets values: all of them, or none.
/// \param blForce  true: output may be switched off although there are tasks of several owners, whose scripts share
///                 one file then.
/// \throw UsageFailure for an unknown key; Failure with everything else that is wrong.
void changeConfig(const ConfigValues& values, bool blForce = false);

/// The same under a lock that is held already. \param setOwners  owners of the tasks.
void changeConfig(const ConfigLock& lock, const ConfigValues& values, const std::set<Json::Int64>& setOwners);

}  // namespace Host
