/// \file settings.h
/// What administrators set for the programs here: /etc/eorva.conf, lines KEY=VALUE.

#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace Host {

/// Stands for "all" where runs are counted.
inline constexpr unsigned KEEP_ALL = std::numeric_limits<unsigned>::max();

/// The settings, from readSettings() or currentSettings(): the defaults are told by the installed file.
struct Settings {
  unsigned cRetentionRuns = 0;          ///< newest runs of each task that are kept
  unsigned cRetentionFailedRuns = 0;    ///< newest failed runs of each task that are kept besides
  std::uint64_t cbRetentionOutput = 0;  ///< bytes that all kept output may take; 0 is no limit
  unsigned cShutdownBudget = 0;         ///< seconds that all tasks of a shutdown have together
  unsigned cStopGrace = 0;              ///< seconds between TERM and KILL
  bool blSharedScript = false;          ///< tasks of several owners may run although no output is kept
};

/// Reads the settings. A value that cannot be used counts as not set, so that a slip of the pen keeps no event from
/// running its tasks.
/// \param vecProblems  receives a sentence for each of those, with the file, the key and the value.
Settings readSettings(std::vector<std::string>& vecProblems);

/// Reads the settings. \throw Failure that names every value that cannot be used.
Settings currentSettings();

/// How long a run may take to end when it is asked to. A value that cannot be used counts as not set.
std::chrono::seconds graceSetting();

/// \name Single settings, by their key
/// @{

/// Every key, in the order of the file.
std::vector<std::string> settingKeys();

/// The value that holds, as it is written in the file. \throw Failure when it cannot be used.
std::string settingText(const std::string& strKey);

/// Says what is wrong with a value; empty when it may be used.
std::string whyNotSetting(const std::string& strKey, const std::string& strValue);

/// @}

/// Says which lines of the file set nothing: those that are broken, and those whose key is unknown.
std::vector<std::string> ignoredSettings();

}  // namespace Host
