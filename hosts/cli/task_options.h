/// \file task_options.h
/// The options that set the members of a task.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "common/tasks/task_rules.h"
#include "context.h"
#include "launch_options.h"

/// The typed options.
struct TaskOptions {
  std::string strRecord;
  std::string strScript;
  std::optional<std::string> strEvent;
  std::optional<std::string> strOwner;
  std::optional<std::string> strOutputLimit;
  std::optional<std::string> strMail;
  std::optional<std::string> strDescription;
  std::optional<Json::Int64> iTimeLimit;
  std::vector<std::string> vecWaitsFor;
  LaunchOptions launch;
  bool blAnyEvent = false;
  bool blNoAfter = false;
  bool blEnabled = false;
  bool blDisabled = false;
  bool blParallel = false;
  bool blNoParallel = false;
  bool blNoMail = false;
  bool blMailIfError = false;
  bool blMailAlways = false;

  Host::AllowedEvents events() const { return blAnyEvent ? Host::AllowedEvents::ANY : Host::AllowedEvents::KNOWN; }
};

/// Adds the options to a subcommand. \return the one that reads a whole record.
CLI::Option* addTaskOptions(CLI::App* pCommand, TaskOptions& options);

/// Tells whether any member was set.
bool setsMember(const TaskOptions& options);

/// Sets the members that were typed.
/// \param jTask  a task record in the form of the user interface; changed in place.
void setMembers(const TaskOptions& options, Json::Value& jTask);

/// Prints warnings about a task.
void printWarnings(const std::string& strTask, const std::vector<Host::Finding>& vecWarnings);
