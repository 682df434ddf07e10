/// \file run_files.h
/// The files that a run left.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>

#include "common/support/file_follower.h"
#include "common/support/unique_fd.h"

namespace Host {

/// \name The names of the files
/// @{
inline constexpr char OUTPUT_FILE[] = "output.log";
inline constexpr char SCRIPT_FILE[] = "script.log";
/// @}

/// Opens a file that a run left, in any place of output.
/// \param szFile  OUTPUT_FILE or SCRIPT_FILE.
/// \return nothing when it does not exist; `strLooked` then names the searched folders, and why it may be missing.
/// \throw Failure when it cannot be opened safely.
std::optional<UniqueFd> findRunFile(const Json::Value& jRun, const char* szFile, std::string& strLooked);

/// Opens a file that a run left. \throw Failure when it does not exist.
UniqueFd requireRunFile(const Json::Value& jRun, const char* szFile);

/// Reads a whole file that a run left. \throw Failure as above, and when it is larger than 16 MiB.
std::string textOfRunFile(const Json::Value& jRun, const char* szFile);

/// Reads the end of a file that a run left: a megabyte at most, in whole characters.
/// \param cLines  how many lines at most. \throw Failure as above.
FileFollower::End endOfRunFile(const Json::Value& jRun, const char* szFile, unsigned cLines);

}  // namespace Host
