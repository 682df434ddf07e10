/// \file state_change.h
/// Changing the state of a server: all of it or nothing.

#pragma once

#include <string>
#include <vector>

#include "common/tasks/task_rules.h"
#include "state_document.h"

namespace Host {

/// The differences, by name.
struct StateDifference {
  std::vector<std::string> vecCreated;
  std::vector<std::string> vecChanged;
  std::vector<std::string> vecDeleted;
  std::vector<std::string> vecConfig;  ///< keys
  std::vector<std::string> vecEvents;

  bool isEmpty() const {
    return vecCreated.empty() && vecChanged.empty() && vecDeleted.empty() && vecConfig.empty() && vecEvents.empty();
  }
};

/// The state after a document is applied.
/// \param blPrune  true: tasks that are not in the document are deleted; so are own events, if it has events.
StateDocument stateAfter(const StateDocument& before, const StateDocument& document, bool blPrune);

StateDifference differenceOf(const StateDocument& before, const StateDocument& after);

/// Sentences about a change.
struct StateFindings {
  std::vector<std::string> vecErrors;  ///< empty when the change can be made
  std::vector<std::string> vecWarnings;
  Hint hint;  ///< helps against an error
};

StateFindings checkState(const StateDocument& before, const StateDocument& after, AllowedEvents events);

/// Makes a change that has been checked, in one transaction. The units of systemd are as before. What it does not touch
/// stays as it is now.
/// \param blPrune  as for stateAfter().
/// \throw Failure when somebody else has changed what it touches, a task runs, or something cannot be stored. Nothing
///        is changed then.
/// \return notes for the user, a sentence each.
std::vector<std::string> changeState(Session& session, const StateDocument& before, const StateDocument& after,
                                     bool blPrune);

}  // namespace Host
