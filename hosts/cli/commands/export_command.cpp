/// eorva export

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/state/state_document.h"
#include "common/tasks/task_request.h"
#include "common/text/json_members.h"

namespace {

struct ExportOptions {
  bool blJson = false;
};

/// A document with a missing owner cannot be applied.
void warnAboutOwners(const Host::StateDocument& state) {
  for (const auto& [strTask, jTask] : state.mapTasks) {
    std::string strUid;
    if (Host::ownerName(Host::memberOf(jTask, "owner"), strUid).empty() && !strUid.empty()) {
      printNote(fmt::format("warning: task \"{}\": owner {} does not exist", strTask, strUid));
    }
  }
}

int runExport(const Context&, const ExportOptions& options) {
  const Host::StateDocument state = Host::currentState();
  warnAboutOwners(state);
  if (options.blJson) {
    printJson(Host::stateJson(state));
  } else {
    fmt::print("{}", Host::stateText(state));
  }
  return EXIT_DONE;
}

}  // namespace

void addExportCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "export", "Write tasks, events and configuration as a document: YAML on standard output.",
                 "  eorva export > server.yaml            for 'eorva apply'\n"
                 "  eorva export | ssh other eorva apply - --yes\n"
                 "\nThe last line is \"...\": without it, 'eorva apply' refuses the document as incomplete.\n");
  auto pOptions = onCommand(pCommand, context, &runExport);
  pCommand->add_flag("--json", pOptions->blJson, "as JSON; 'eorva apply' reads it, too");
}
