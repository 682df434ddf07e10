/// eorva apply

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include "cli/context.h"
#include "cli/input.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "common/state/state_change.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/text_diff.h"

using Host::StateDifference;
using Host::StateDocument;

namespace {

/// A document holds the scripts of all tasks.
constexpr std::size_t CB_MAX_DOCUMENT = std::size_t{64} << 20;

struct ApplyOptions {
  std::string strFile;
  bool blPrune = false;
  bool blAnyEvent = false;
  bool blDryRun = false;
  bool blYes = false;
  bool blJson = false;
};

[[noreturn]] void failWith(const std::string& strFile, const std::vector<std::string>& vecErrors) {
  std::string strText = fmt::format("{} is not applied:\n  {}", strFile, fmt::join(vecErrors, "\n  "));
  // In a name it would end the message.
  std::replace(strText.begin(), strText.end(), '\0', '?');
  throw Host::Failure(strText);
}

StateDocument readDocument(const std::string& strFile, std::vector<std::string>& vecErrors) {
  const std::string strText = readInput(strFile, CB_MAX_DOCUMENT);
  try {
    return Host::readState(strText, vecErrors);
  } catch (const Host::Failure& error) {
    failWith(strFile, {error.what()});
  }
}

std::string countText(const StateDifference& difference) {
  return fmt::format("{} created, {} changed, {} deleted, {} setting{}", difference.vecCreated.size(),
                     difference.vecChanged.size(), difference.vecDeleted.size(), difference.vecConfig.size(),
                     difference.vecConfig.size() == 1 ? "" : "s");
}

Json::Value namesForPrograms(const std::vector<std::string>& vecNames) {
  Json::Value jNames(Json::arrayValue);
  for (const std::string& strName : vecNames) {
    jNames.append(strName);
  }
  return jNames;
}

void printDifferenceJson(const StateDifference& difference, bool blDone) {
  Json::Value jOut(Json::objectValue);
  jOut["applied"] = blDone;
  jOut["created"] = namesForPrograms(difference.vecCreated);
  jOut["changed"] = namesForPrograms(difference.vecChanged);
  jOut["deleted"] = namesForPrograms(difference.vecDeleted);
  jOut["configuration"] = namesForPrograms(difference.vecConfig);
  printJson(jOut);
}

void showDifference(const Context& context, const StateDocument& before, const StateDocument& after) {
  const Host::UniqueFd left = Host::fileOfText(Host::stateText(before));
  const Host::UniqueFd right = Host::fileOfText(Host::stateText(after));
  Host::writeDifference({left.get(), "now"}, {right.get(), "applied"}, context.isColored(), STDOUT_FILENO);
}

int finishWithoutChange(const ApplyOptions& options, const StateDifference& difference) {
  if (options.blJson) {
    printDifferenceJson(difference, false);
  } else if (difference.isEmpty()) {
    fmt::print("nothing to change\n");
  } else {
    fmt::print("would be applied: {}\n", countText(difference));
  }
  return difference.isEmpty() ? EXIT_DONE : EXIT_DIFFERENT;
}

/// Everything that is wrong is told at once: with the shape of the document, and with what it asks for.
void check(const ApplyOptions& options, const StateDocument& before, const StateDocument& after,
           std::vector<std::string> vecErrors) {
  std::vector<std::string> vecWarnings;
  for (std::string& strError :
       Host::whyNotState(before, after, options.blAnyEvent ? Host::AllowedEvents::ANY : Host::AllowedEvents::CATALOGUE,
                         vecWarnings)) {
    vecErrors.push_back(std::move(strError));
  }
  if (!vecErrors.empty()) {
    failWith(options.strFile, vecErrors);
  }
  for (const std::string& strWarning : vecWarnings) {
    printNote("warning: " + strWarning);
  }
}

int runApply(const Context& context, const ApplyOptions& options) {
  std::vector<std::string> vecErrors;
  const StateDocument document = readDocument(options.strFile, vecErrors);
  if (options.blPrune && !document.blTasks) {
    vecErrors.push_back(
        "tasks: is missing, and --prune would delete all of them; \"tasks: {}\" says that this is meant");
  }
  Host::Session session;
  const StateDocument before = Host::currentState(session);
  const StateDocument after = Host::stateAfter(before, document, options.blPrune);
  check(options, before, after, vecErrors);
  const StateDifference difference = Host::differenceOf(before, after);
  if (!options.blJson && !difference.isEmpty()) {
    showDifference(context, before, after);
  }
  if (options.blDryRun || difference.isEmpty()) {
    return finishWithoutChange(options, difference);
  }
  if (!options.blYes) {
    confirm(fmt::format("this will be applied: {}", countText(difference)), "Apply it?", "nothing is changed");
  }
  for (const std::string& strNote : Host::changeState(session, before, after)) {
    printNote(strNote);
  }
  if (options.blJson) {
    printDifferenceJson(difference, true);
  } else {
    fmt::print("applied: {}\n", countText(difference));
  }
  return EXIT_DONE;
}

}  // namespace

void addApplyCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<ApplyOptions>();
  CLI::App* pCommand = addCommand(
      app, "apply", "Make the tasks and the configuration what a document says; all of it, or nothing.",
      "  eorva apply server.yaml               shows the difference, and asks\n"
      "  eorva apply server.yaml --dry-run     ends with 3 when something would change\n"
      "  eorva apply - --yes --prune < server.yaml\n"
      "\nThe document is that of 'eorva export', in YAML or JSON. Tasks and settings that it does not\n"
      "name stay as they are. A task that it names is described whole: a member that is left out takes its\n"
      "usual value, so that a task without \"enable\" is switched on, and one without \"description\" has none.\n"
      "YAML must end with the line \"...\": without it, it may have been cut off on its way.\n");
  pCommand->add_option("file", pOptions->strFile, "the document; - reads standard input")
      ->required()
      ->type_name("FILE");
  pCommand->add_flag("--prune", pOptions->blPrune, "delete the tasks that are not in the document");
  pCommand->add_flag("--any-event", pOptions->blAnyEvent, "take events that are not in the catalogue too");
  pCommand->add_flag("--dry-run", pOptions->blDryRun, "only show what would change");
  pCommand->add_flag("--yes", pOptions->blYes, "do not ask");
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: what is created, changed and deleted");
  onCommand(pCommand, context, pOptions, &runApply);
}
