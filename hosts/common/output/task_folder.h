/// \file task_folder.h
/// The folder of one task, within the folder of all tasks.
///
/// Folders are opened step by step, and no link is followed. Every function throws a Failure that names the path.

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

/// \name One step on a path
/// \param strPath  the whole path, for messages.
/// @{
UniqueFd openFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath);
void makeFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath, mode_t mode);
struct stat statusOf(const UniqueFd& fd, const std::string& strPath);

/// \param szDo  what failed with errno, as in "cannot open".
[[noreturn]] void failErrno(const char* szDo, const std::string& strPath);
/// @}

/// Opens something; gives nothing when it does not exist.
std::optional<UniqueFd> unlessMissing(const std::function<UniqueFd()>& fnOpen);

/// \name The folder of a task
/// \param place     the folder of all tasks; only root can change it.
/// \param strPlace  its path, for messages.
/// @{

/// Tells whether the name is in use, also by a broken link.
bool hasEntry(const UniqueFd& folder, const std::string& strName);

void renameAt(const UniqueFd& folder, const std::string& strOld, const std::string& strNew, const std::string& strPath);

/// The first free of NAME~1, NAME~2 and so on. No task can have such a name.
std::string freeAsideName(const UniqueFd& folder, const std::string& strName);

/// Gives a folder a free name.
/// \return its new path; empty when there was none.
std::string moveAsideAt(const UniqueFd& folder, const std::string& strName, const std::string& strPath);

/// The folder of a task, and those that were moved aside; only names that exist.
std::vector<std::string> foldersAt(const UniqueFd& place, const std::string& strTask);

/// Opens a file of a run.
/// \param strPath   of the folder in the place that has the folder of the run.
/// \param strStart  name of the folder of the run.
std::optional<UniqueFd> findRunFileAt(const UniqueFd& place, const std::string& strPath, const std::string& strStart,
                                      const char* szFile);

/// Prepares the folder of a task for its owner. Moves aside a folder that belonged to another user.
/// \return its new path; empty when there was none.
std::string prepareAt(const UniqueFd& place, const std::string& strTask, uid_t owner, const std::string& strPlace);
/// @}

}  // namespace Host
