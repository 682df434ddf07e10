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
  AllowedEvents events = AllowedEvents::CATALOGUE;
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

/// Makes these changes. \return notes for the user, a sentence each. \throw Failure as changeState() does.
std::vector<std::string> apply(const ApplyPlan& plan);

}  // namespace Host
