/// \file configuration.h
/// All settings by key: the scheduler's section of the configuration (`output_path` and `enable_output`) and the
/// settings of the programs (/etc/eorva.conf).

#pragma once

#include <json/value.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "config_change.h"

namespace Host {

/// Values by key, as people write them: numbers, "10G", "yes" and "no".
using ConfigValues = std::map<std::string, std::string>;

/// All keys, in the order in which they are shown.
std::vector<std::string> configKeys();

/// The current value; empty for an `output_path` that was never set.
/// \throw Failure for an unknown key or an invalid value; here and below.
std::string configText(const std::string& strKey);

/// All current values.
ConfigValues configValues();

/// Checks new values.
/// \param setOwners  owners of the tasks: scripts of several owners must not share one file.
/// \return a sentence for each problem; empty when all values can be set.
std::vector<std::string> whyNotConfig(const ConfigValues& values, const std::set<Json::Int64>& setOwners);

/// Writes changed settings to the event log.
void logConfig(const ConfigValues& values);

/// The files as they are with these values. Valid under the lock under which they were checked.
FileTexts configFilesWith(const ConfigValues& values);

/// Sets values that were checked under the same lock: all of them or none.
void setConfig(const ConfigLock& lock, const ConfigValues& values);

/// Sets values: all of them or none.
/// \param blForce  true: output can be switched off with tasks of several owners, whose scripts then share one file.
/// \throw UsageFailure for an unknown key; Failure with all other errors.
void changeConfig(const ConfigValues& values, bool blForce = false);

/// Sets values under a lock that the caller holds. \param setOwners  owners of the tasks.
void changeConfig(const ConfigLock& lock, const ConfigValues& values, const std::set<Json::Int64>& setOwners);

}  // namespace Host
