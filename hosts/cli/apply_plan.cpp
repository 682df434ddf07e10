#include "apply_plan.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/server_answers.h"
#include "common/support/text_diff.h"

using Host::StateDifference;

namespace {

std::string changesText(const StateDifference& difference) {
  return fmt::format("{} created, {} changed, {} deleted, {}, {}", difference.vecCreated.size(),
                     difference.vecChanged.size(), difference.vecDeleted.size(),
                     countText(difference.vecConfig.size(), "setting"),
                     countText(difference.vecEvents.size(), "event"));
}

void showDifference(const Context& context, const Host::ApplyPlan& plan) {
  const Host::UniqueFd left = Host::fileOfText(Host::stateText(plan.before));
  const Host::UniqueFd right = Host::fileOfText(Host::stateText(plan.after));
  Host::writeDifference({left.get(), "now"}, {right.get(), "applied"}, context.isColored(), STDOUT_FILENO);
}

int finishWithoutChange(const ApplyOptions& options, const StateDifference& difference) {
  if (options.blJson) {
    printJson(Host::differenceForPrograms(difference, false));
  } else if (difference.isEmpty()) {
    say("nothing to change\n");
  } else {
    say("would be applied: {}\n", changesText(difference));
  }
  return difference.isEmpty() ? EXIT_DONE : EXIT_DIFFERENT;
}

}  // namespace

void addApplyOptions(CLI::App* pCommand, ApplyOptions& options) {
  pCommand->add_flag("--dry-run", options.blDryRun, "only show the changes");
  pCommand->add_flag("--yes", options.blYes, "do not ask");
  pCommand->add_flag("--json", options.blJson,
                     "as JSON: names of created, changed and deleted tasks, and of changed events");
}

int applyPlan(const Context& context, const Host::ApplyPlan& plan, const ApplyOptions& options) {
  const StateDifference& difference = plan.difference;
  for (const std::string& strWarning : plan.vecWarnings) {
    printNote("warning: " + strWarning);
  }
  if (!options.blJson && !difference.isEmpty()) {
    showDifference(context, plan);
  }
  if (options.blDryRun || difference.isEmpty()) {
    return finishWithoutChange(options, difference);
  }
  if (!options.blYes) {
    confirm(fmt::format("this will be applied: {}", changesText(difference)), "Apply it?", "nothing is changed");
  }
  const Host::Applied applied = Host::apply(plan);
  for (const std::string& strNote : applied.vecNotes) {
    printNote(strNote);
  }
  if (options.blJson) {
    printJson(Host::differenceForPrograms(difference, true));
  } else {
    say("applied: {}\n", changesText(difference));
  }
  if (!applied.vecFailed.empty()) {
    throw Host::Failure(fmt::format("the document is applied, but systemd is not as it says; apply it again:\n  {}",
                                    fmt::join(applied.vecFailed, "\n  ")));
  }
  return EXIT_DONE;
}
