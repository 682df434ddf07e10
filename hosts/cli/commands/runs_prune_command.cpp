/// eorva runs prune

#include <fmt/format.h>

#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/run_answers.h"
#include "common/output/retention.h"
#include "common/store/records.h"
#include "common/text/json_members.h"
#include "runs_commands.h"

using Host::PrunedItem;
using Host::PruneResult;

namespace {

struct PruneOptions {
  bool blDryRun = false;
  bool blJson = false;
};

void printLines(const PruneResult& result, bool blDryRun) {
  const char* const szDone = blDryRun ? "would remove" : "removed";
  for (const PrunedItem& item : result.queRuns) {
    say("{} run {} of {}, {}, {}\n", szDone, item.iRun, item.task(), Host::timeText(item.iStartTime),
        sizeText(item.cb));
  }
  for (const PrunedItem& item : result.queOutputs) {
    const std::string strRun = item.iRun != 0 ? fmt::format("run {}", item.iRun) : "a run without a record";
    say("{} the output of {} of {}, {}, {}\n", szDone, strRun, item.task(), Host::timeText(item.iStartTime),
        sizeText(item.cb));
  }
  const std::string strOutputs =
      result.queOutputs.empty() ? "" : fmt::format(" and the output of {}", countText(result.queOutputs.size(), "run"));
  say("{} {}{}: {}\n", szDone, countText(result.queRuns.size(), "run"), strOutputs, sizeText(result.bytes()));
}

int runPrune(const Context&, const PruneOptions& options) {
  const Host::Settings settings = Host::currentSettings();
  const Host::OpenStore session;
  closeInterruptedRuns(session);
  const PruneResult result = Host::pruneRuns(session, settings, options.blDryRun);
  if (options.blJson) {
    printJson(Host::pruneForPrograms(result, options.blDryRun));
  } else {
    printLines(result, options.blDryRun);
  }
  for (const std::string& strProblem : result.vecProblems) {
    printNote("warning: " + strProblem);
  }
  return result.vecProblems.empty() ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addRunsPruneCommand(CLI::App& runs, Context& context) {
  CLI::App* pCommand =
      addCommand(runs, "prune", "Remove old runs and their output.",
                 "  eorva runs prune --dry-run\n"
                 "  eorva config set retention_runs=50      keep the newest 50 runs of each task\n"
                 "\nThe limits are in /etc/eorva.conf: retention_runs, retention_failed_runs, retention_output_size.\n"
                 "Open runs are never removed.\n");
  auto pOptions = onCommand(pCommand, context, &runPrune);
  pCommand->add_flag("--dry-run", pOptions->blDryRun, "only show the runs and output to be removed");
  pCommand->add_flag("--json", pOptions->blJson, "print the removed runs and output as JSON");
}
