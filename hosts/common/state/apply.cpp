#include "apply.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/store/records.h"
#include "common/support/failure.h"
#include "event_changes.h"

namespace Host {

namespace {

[[noreturn]] void failWith(const std::string& strName, const std::vector<std::string>& vecErrors,
                           const Hint& hint = {}) {
  std::string strText = fmt::format("{} is not applied:\n  {}", strName, fmt::join(vecErrors, "\n  "));
  // A NUL would end the message.
  std::replace(strText.begin(), strText.end(), '\0', '?');
  throw Failure(strText, hint);
}

StateDocument readDocument(const ApplyRequest& request, std::vector<std::string>& vecErrors) {
  try {
    return readState(request.strText, vecErrors);
  } catch (const Failure& error) {
    failWith(request.strName, {error.what()});
  }
}

/// An event also changes when only its timer has to be set right.
void addUnsettled(ApplyPlan& plan) {
  std::vector<std::string>& vecEvents = plan.difference.vecEvents;
  for (const auto& [strEvent, strWhy] : unsettledEvents()) {
    if (std::find(vecEvents.begin(), vecEvents.end(), strEvent) == vecEvents.end()) {
      vecEvents.push_back(strEvent);
      plan.vecWarnings.push_back(strWhy);
    }
  }
}

}  // namespace

ApplyPlan planApply(const ApplyRequest& request) {
  std::vector<std::string> vecErrors;
  const StateDocument document = readDocument(request, vecErrors);
  if (request.blPrune && !document.blTasks) {
    vecErrors.emplace_back("tasks: is missing; write \"tasks: {}\" to delete all tasks");
  }
  ApplyPlan plan;
  plan.blPrune = request.blPrune;
  plan.before = currentState();
  plan.after = stateAfter(plan.before, document, request.blPrune);
  StateFindings findings = checkState(plan.before, plan.after, request.events);
  vecErrors.insert(vecErrors.end(), findings.vecErrors.begin(), findings.vecErrors.end());
  if (!vecErrors.empty()) {
    failWith(request.strName, vecErrors, findings.hint);
  }
  plan.vecWarnings = std::move(findings.vecWarnings);
  plan.difference = differenceOf(plan.before, plan.after);
  addUnsettled(plan);
  return plan;
}

Applied apply(const ApplyPlan& plan) {
  Applied applied;
  {
    const OpenStore session;
    applied.vecNotes = changeState(session, plan.before, plan.after, plan.blPrune);
  }
  applied.vecFailed = switchUnits(plan.difference.vecEvents, plan.before.events, plan.after.events);
  return applied;
}

}  // namespace Host
