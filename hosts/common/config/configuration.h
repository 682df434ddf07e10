/// \file configuration.h
/// Everything that can be set, by its key: the scheduler's section of the configuration (`output_path` and
/// `enable_output`) and the settings of the programs (/etc/eorva.conf).

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "common/coordination/config_lock.h"

namespace Host {

/// Values by key, as people write them: numbers, "10G", "yes" and "no".
using ConfigValues = std::map<std::string, std::string>;

/// Every key, in the order in which they are shown.
std::vector<std::string> configKeys();

/// The value that holds; empty for an `output_path` that was never set.
/// \throw Failure when there is no such key, or the value cannot be used; here and below.
std::string configText(const std::string& strKey);

/// Every value that holds.
ConfigValues configValues();

/// Says what is wrong with values that are to be set.
/// \param setOwners  owners of the tasks: scripts of several must not share one file.
/// \return a sentence a problem, which begins with the key; empty when all may be set.
std::vector<std::string> whyNotConfig(const ConfigValues& values, const std::set<Json::Int64>& setOwners);

/// Sets values that have been looked over under the same lock: all of them, or none.
void setConfig(const ConfigLock& lock, const ConfigValues& values);

/// What was there before a change, so that the change can be taken back.
class ConfigBefore {
public:
  ConfigBefore();

  /// Puts it back, as well as that can be done.
  void restore() const noexcept;

private:
  std::map<std::string, std::optional<std::string>> m_mapFiles;  ///< text by path; nothing where there was no file
};

}  // namespace Host
