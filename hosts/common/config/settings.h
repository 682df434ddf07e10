/// \file settings.h
/// The settings of the programs: /etc/eorva.conf, lines KEY=VALUE.

#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace Host {

/// Stands for "all" where runs are counted.
inline constexpr unsigned KEEP_ALL = std::numeric_limits<unsigned>::max();

/// The settings, from readSettings() or currentSettings(). The installed file names the defaults.
struct Settings {
  unsigned cRetentionRuns = 0;          ///< newest runs of each task that are kept
  unsigned cRetentionFailedRuns = 0;    ///< newest failed runs of each task that are also kept
  std::uint64_t cbRetentionOutput = 0;  ///< bytes that all kept output may take; 0 is no limit
  std::uint64_t cbOutputLimit = 0;      ///< bytes that the output of a run may have; 0 is no limit
  unsigned cShutdownBudget = 0;         ///< seconds that all tasks of a shutdown have together
  unsigned cStopGrace = 0;              ///< seconds between TERM and KILL
  unsigned cMaxProcesses = 0;           ///< processes that a run may have at once, where systemd runs
  bool blSharedScript = false;          ///< tasks of several owners can run without output
  bool blUnitFails = false;             ///< the service of an execution fails when a task failed
};

/// Reads the settings. An invalid value counts as not set: a mistake must not keep events from starting tasks.
/// \param vecProblems  receives a sentence for each invalid value, with the file and the key.
Settings readSettings(std::vector<std::string>& vecProblems);

/// Reads the settings. \throw Failure that names every invalid value.
Settings currentSettings();

/// The time between TERM and KILL; the default when the setting is invalid.
std::chrono::seconds graceSetting();

/// How many processes a run may have at once; the default when the setting is invalid.
unsigned maxProcessesSetting();

/// How much output a run may have, in bytes; the default when the setting is invalid.
std::uint64_t outputLimitSetting();

/// Whether the service of an execution fails when a task failed; the default when the setting is invalid.
bool unitFailsSetting();

/// \name Single settings, by their key
/// @{

/// All keys, in the order of the file.
std::vector<std::string> settingKeys();

/// The current value, as it is written in the file. \throw Failure when it is invalid.
std::string settingText(const std::string& strKey);

/// Tells what is wrong with a value; empty when it is valid.
std::string whyNotSetting(const std::string& strKey, const std::string& strValue);

/// @}

/// Tells which lines of the file have no effect: broken lines and unknown keys.
std::vector<std::string> ignoredSettings();

}  // namespace Host
