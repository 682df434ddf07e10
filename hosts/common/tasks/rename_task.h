/// \file rename_task.h
/// Changes of a task that change the tasks that wait for it too, and its output folder.

#pragma once

#include <string>

namespace Host {

/// Deletes a task, its entry in other tasks' lists and its run records, and puts its output folder aside.
/// \return what became of the output: a sentence for the user, empty when there was none.
/// \throw Failure when the task stays as it is.
std::string deleteTask(const std::string& strTask);

/// Gives a task another name, in other tasks' lists and run records too; its output folder goes along.
/// \throw Failure when all stays as it is.
void renameTask(const std::string& strTask, const std::string& strNew);

}  // namespace Host
