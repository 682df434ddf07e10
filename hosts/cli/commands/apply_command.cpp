/// eorva apply

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include "cli/context.h"
#include "cli/input.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/server_answers.h"
#include "common/state/apply.h"
#include "common/support/failure.h"
#include "common/support/text_diff.h"

using Host::StateDifference;

namespace {

/// A document has the scripts of all tasks.
constexpr std::size_t CB_MAX_DOCUMENT = std::size_t{64} << 20;

struct ApplyOptions {
  std::string strFile;
  bool blPrune = false;
  bool blAnyEvent = false;
  bool blDryRun = false;
  bool blYes = false;
  bool blJson = false;
};

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

Host::ApplyRequest requestOf(const ApplyOptions& options) {
  return {readInput(options.strFile, CB_MAX_DOCUMENT), options.strFile, options.blPrune,
          options.blAnyEvent ? Host::AllowedEvents::ANY : Host::AllowedEvents::KNOWN};
}

int runApply(const Context& context, const ApplyOptions& options) {
  const Host::ApplyPlan plan = Host::planApply(requestOf(options));
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

}  // namespace

void addApplyCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "apply", "Apply a document to tasks, events and configuration: all of it or nothing.",
                 "  eorva apply server.yaml               shows the difference and asks\n"
                 "  eorva apply server.yaml --dry-run     exit status 3 when something would change\n"
                 "  eorva apply - --yes --prune < server.yaml\n"
                 "\nThe document is YAML or JSON, as 'eorva export' writes it. What it does not name is unchanged.\n"
                 " In a task, missing fields get their defaults: a task without \"enable\" is enabled.\n"
                 "YAML must end with the line \"...\": without it, the document may be incomplete.\n");
  auto pOptions = onCommand(pCommand, context, &runApply);
  pCommand->add_option("file", pOptions->strFile, "document; - reads standard input")->required()->type_name("FILE");
  pCommand->add_flag("--prune", pOptions->blPrune,
                     "delete the tasks that are not in the document, and own events if it has events");
  pCommand->add_flag("--any-event", pOptions->blAnyEvent, "allow tasks of unknown events");
  pCommand->add_flag("--dry-run", pOptions->blDryRun, "only show the changes");
  pCommand->add_flag("--yes", pOptions->blYes, "do not ask");
  pCommand->add_flag("--json", pOptions->blJson,
                     "as JSON: names of created, changed and deleted tasks, and of changed events");
}
