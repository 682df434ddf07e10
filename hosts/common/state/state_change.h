/// \file state_change.h
/// The way from the state of a server to another one: looked over whole, then gone whole or not at all.

#pragma once

#include <string>
#include <vector>

#include "common/tasks/task_rules.h"
#include "state_document.h"

namespace Host {

/// What is different, by name.
struct StateDifference {
  std::vector<std::string> vecCreated;
  std::vector<std::string> vecChanged;
  std::vector<std::string> vecDeleted;
  std::vector<std::string> vecConfig;  ///< keys

  bool isEmpty() const { return vecCreated.empty() && vecChanged.empty() && vecDeleted.empty() && vecConfig.empty(); }
};

/// The state that holds when a document is applied.
/// \param blPrune  true: tasks that are not in the document are deleted.
StateDocument stateAfter(const StateDocument& before, const StateDocument& document, bool blPrune);

StateDifference differenceOf(const StateDocument& before, const StateDocument& after);

/// Looks a change over.
/// \param vecWarnings  receives what may be meant so, but will hardly do what is wanted.
/// \return everything that is wrong, a sentence each; empty when the change may be made.
std::vector<std::string> whyNotState(const StateDocument& before, const StateDocument& after, AllowedEvents events,
                                     std::vector<std::string>& vecWarnings);

/// Makes a change that has been looked over, in one transaction.
/// \throw Failure when the state is not `before` any more, a task runs, or something cannot be stored; nothing has
///        been changed then.
/// \return what the user should know besides, a sentence each.
std::vector<std::string> changeState(Session& session, const StateDocument& before, const StateDocument& after);

}  // namespace Host
