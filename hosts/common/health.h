/// \file health.h
/// What is wrong with an installation, and what to do about it.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "session.h"

namespace Host {

struct HealthFinding {
  enum class Severity { PROBLEM, WARNING };

  Severity severity = Severity::PROBLEM;
  std::string strArea;     ///< "store", "configuration", "output", "mail", "events", "runs" or "tasks"
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

/// Looks at what fires the events that tasks are bound to.
void checkEvents(const Json::Value& jTasks, HealthFindings& findings);

/// Looks for runs that are recorded as running although their process is gone.
void checkRuns(Session& session, HealthFindings& findings);

/// Looks for output that cannot be found under its task's name.
void checkLostOutput(Session& session, HealthFindings& findings);

/// Looks at each task, and at how they wait for each other.
void checkTasks(const Json::Value& jTasks, HealthFindings& findings);

}  // namespace Host
