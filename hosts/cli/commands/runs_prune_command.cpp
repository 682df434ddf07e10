/// eorva runs prune

#include <fmt/format.h>

#include "cli/terminal/present.h"
#include "common/answers/run_answers.h"
#include "common/output/retention.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "runs_commands.h"

using Host::intOf;
using Host::PrunedItem;
using Host::PruneResult;

namespace {

struct PruneOptions {
  bool blDryRun = false;
  bool blJson = false;
};

void printLines(const PruneResult& result, bool blDryRun) {
  const char* const szDone = blDryRun ? "would remove" : "removed";
  for (const PrunedItem& item : result.vecRuns) {
    fmt::print("{} run {} of {}, {}, {}\n", szDone, intOf(item.jRun, "result_id"), item.task(),
               Host::timeText(item.iStartTime), sizeText(item.cb));
  }
  for (const PrunedItem& item : result.vecOutputs) {
    const std::string strRun =
        item.jRun.isObject() ? fmt::format("run {}", intOf(item.jRun, "result_id")) : "a run that is on record no more";
    fmt::print("{} the output of {} of {}, {}, {}\n", szDone, strRun, item.task(), Host::timeText(item.iStartTime),
               sizeText(item.cb));
  }
  fmt::print("{} {} run{} and the output of {} more: {}\n", szDone, result.vecRuns.size(),
             result.vecRuns.size() == 1 ? "" : "s", result.vecOutputs.size(), sizeText(result.bytes()));
}

int runPrune(const Context&, const PruneOptions& options) {
  const Host::Settings settings = Host::currentSettings();
  Host::Session session;
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
  auto pOptions = std::make_shared<PruneOptions>();
  CLI::App* pCommand =
      addCommand(runs, "prune", "Remove the runs and the output that need not be kept any longer.",
                 "  eorva runs prune --dry-run\n"
                 "  eorva config set retention_runs=50      newest runs that are kept of each task\n"
                 "\nThe rules stand in /etc/eorva.conf: retention_runs, retention_failed_runs, retention_output_size.\n"
                 "A run that goes on is never touched.\n");
  pCommand->add_flag("--dry-run", pOptions->blDryRun, "only say what would be removed");
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: what was removed");
  onCommand(pCommand, context, pOptions, &runPrune);
}
