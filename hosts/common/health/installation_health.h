/// \file installation_health.h
/// What is wrong with an installation, and what to do about it.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "common/store/session.h"

namespace Host {

struct HealthFinding {
  enum class Severity { PROBLEM, WARNING };

  Severity severity = Severity::PROBLEM;
  std::string strArea;     ///< "store", "configuration", "output", "mail", "events", "units", "runs" or "tasks"
  std::string strSubject;  ///< the task, run, event or file that it is about
  std::string strText;
  std::string strAdvice;  ///< what to type
};

using HealthFindings = std::vector<HealthFinding>;

/// Looks at the store's files and at what is in them.
/// \param pSession  null when the store could not be opened.
void checkStore(const Session* pSession, HealthFindings& findings);

/// Looks at the configuration, the settings and the place for output.
void checkConfiguration(const Json::Value& jTasks, HealthFindings& findings);

/// Looks at the program that sends mail.
void checkMailProgram(const Json::Value& jTasks, HealthFindings& findings);

/// What to type when the store cannot be used.
std::string storeAdvice();

/// Looks at what fires the events that tasks are bound to, and those that are usually on.
void checkEvents(const Json::Value& jTasks, HealthFindings& findings);

/// Looks at the timers that do what nobody looks after: removing old runs, and sending mail again.
void checkTimers(HealthFindings& findings);

/// Looks for runs that are recorded as running although their process is gone.
void checkRuns(Session& session, HealthFindings& findings);

/// Looks for output that cannot be found under its task's name.
void checkUnfinishedRenames(Session& session, HealthFindings& findings);

/// Looks at each task, and at how they wait for each other.
///
/// A task that is never started is a problem, unless somebody has decided so: one that is disabled is none, and those
/// that wait for it are warnings.
void checkTasks(const Json::Value& jTasks, HealthFindings& findings);

}  // namespace Host
