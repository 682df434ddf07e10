/// \file rename_task.h
/// Changes of a task that change the tasks that wait for it too, and its output folder.
///
/// A question to the user belongs between the check and the change, which checks everything again.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Tells whether a task can be deleted now. \return the tasks that wait for it. \throw Failure with the reason.
std::vector<std::string> checkDelete(const std::string& strTask);

/// Deletes a task, its entry in other tasks' lists and its run records, and moves its output folder to NAME~1.
/// \return the new place of the output, as the end of a sentence that begins with "its output"; empty without output.
/// \throw Failure when the task is unchanged.
std::string deleteTask(const std::string& strTask);

/// Tells whether a task can get another name now. \return the tasks that wait for it. \throw Failure with the reason.
std::vector<std::string> checkRename(const std::string& strTask, const std::string& strNew);

/// Gives a task another name, in other tasks' lists and run records too; its output folder moves, too.
/// \throw Failure when everything is unchanged.
void renameTask(const std::string& strTask, const std::string& strNew);

}  // namespace Host
