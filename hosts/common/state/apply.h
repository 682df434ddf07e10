/// \file apply.h
/// Applies a document to this server.

#pragma once

#include <string>
#include <vector>

#include "state_change.h"

namespace Host {

struct ApplyRequest {
  std::string strText;   ///< the document
  std::string strName;   ///< its name, for messages
  bool blPrune = false;  ///< delete the tasks that are not in it
  AllowedEvents events = AllowedEvents::KNOWN;
};

/// The changes that a document asks for.
struct ApplyPlan {
  StateDocument before;
  StateDocument after;
  StateDifference difference;
  std::vector<std::string> vecWarnings;
  bool blPrune = false;
};

/// Compares a document with the state of this server, and checks its changes.
/// \throw Failure with everything that is wrong, with the shape of the document and with what it asks for.
ApplyPlan planApply(const ApplyRequest& request);

/// Messages about changes that were made; a sentence each.
struct Applied {
  std::vector<std::string> vecNotes;
  std::vector<std::string> vecFailed;  ///< units of events that could not be switched; applying again tries again
};

/// Makes these changes, then switches the units of events. \throw Failure as changeState() does.
Applied apply(const ApplyPlan& plan);

}  // namespace Host
