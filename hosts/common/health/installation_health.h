/// \file installation_health.h
/// The single checks of an installation.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

class Session;

/// Facts only: answers/finding_text puts them into words.
struct HealthFinding {
  enum class Severity { PROBLEM, WARNING };

  Severity severity = Severity::PROBLEM;
  std::string strCode;     ///< stable
  std::string strSubject;  ///< the task, run, event or file that it is about
  Json::Value jDetails;    ///< object: more facts for the words
};

using HealthFindings = std::vector<HealthFinding>;

/// The timers that work in the background.
inline constexpr char PRUNE_TIMER[] = "eorva-prune.timer";
inline constexpr char MAIL_TIMER[] = "eorva-mail-flush.timer";

/// Adds why the store cannot be used.
/// \param strProblem  the text of the failure.
void reportUnusableStore(const std::string& strProblem, HealthFindings& findings);

/// Checks that only root can change the files of the store and of the configuration.
void checkStoreFiles(HealthFindings& findings);

/// Has SQLite check the content of the store.
void checkStoreContent(HealthFindings& findings);

/// Checks the configuration, the settings, the shares and the place for output.
void checkConfiguration(const Json::Value& jTasks, HealthFindings& findings);

/// Checks the program that sends mail.
void checkMailProgram(const Json::Value& jTasks, HealthFindings& findings);

/// Checks the units that fire the events of enabled tasks, and the events that are usually enabled.
void checkEvents(const Json::Value& jTasks, HealthFindings& findings);

/// Checks the timers that remove old runs and send mail again.
void checkTimers(HealthFindings& findings);

/// Checks whether runs get control groups, and whether the memory limits of tasks have an effect.
void checkControlGroups(const Json::Value& jTasks, HealthFindings& findings);

/// Finds runs that are recorded as running although their process has ended.
void checkRuns(Session& session, HealthFindings& findings);

/// Tells which old runs and output could not be removed.
void checkPruning(HealthFindings& findings);

/// Finds output that does not lie under its task's name.
void checkUnfinishedRenames(Session& session, HealthFindings& findings);

/// Checks each task, and how they wait for each other.
///
/// A task that is never started is a problem. It is a warning when it waits for a disabled task, or for one that is
/// reported already.
void checkTasks(const Json::Value& jTasks, HealthFindings& findings);

}  // namespace Host
