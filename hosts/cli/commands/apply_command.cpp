/// eorva apply

#include "cli/apply_plan.h"
#include "cli/input.h"
#include "common/state/apply.h"
#include "common/support/failure.h"

namespace {

/// A document has the scripts of all tasks.
constexpr std::size_t CB_MAX_DOCUMENT = std::size_t{64} << 20;

struct ApplyDocument {
  std::string strFile;
  bool blPrune = false;
  bool blAnyEvent = false;
  ApplyOptions options;
};

Host::ApplyRequest requestOf(const ApplyDocument& document) {
  return {readInput(document.strFile, CB_MAX_DOCUMENT), document.strFile, document.blPrune,
          document.blAnyEvent ? Host::AllowedEvents::ANY : Host::AllowedEvents::KNOWN};
}

int runApply(const Context& context, const ApplyDocument& document) {
  return applyPlan(context, Host::planApply(requestOf(document)), document.options);
}

}  // namespace

void addApplyCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "apply", "Apply a document to tasks, events and configuration: all of it or nothing.",
                 "  eorva apply server.yaml               shows the difference and asks\n"
                 "  eorva apply server.yaml --dry-run     exit status 3 when something would change\n"
                 "  eorva apply - --yes --prune < server.yaml\n"
                 "\nThe document is YAML or JSON, as 'eorva export' writes it. What it does not name is unchanged.\n"
                 "In a task, missing fields get their defaults: a task without \"enable\" is enabled.\n"
                 "YAML must end with the line \"...\": without it, the document may be incomplete.\n");
  auto pOptions = onCommand(pCommand, context, &runApply);
  pCommand->add_option("file", pOptions->strFile, "document; - reads standard input")->required()->type_name("FILE");
  pCommand->add_flag("--prune", pOptions->blPrune,
                     "delete the tasks that are not in the document, and own events if it has events");
  pCommand->add_flag("--any-event", pOptions->blAnyEvent, "allow tasks of unknown events");
  addApplyOptions(pCommand, pOptions->options);
}
