/// eorva runs prune

#include <fmt/format.h>

#include "cli/terminal/present.h"
#include "common/output/retention.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "runs_commands.h"

using Host::intOf;
using Host::PrunedItem;
using Host::PruneResult;
using Host::textOf;

namespace {

struct PruneOptions {
  bool blDryRun = false;
  bool blJson = false;
};

std::uint64_t sizeOf(const PruneResult& result) {
  std::uint64_t cb = 0;
  for (const auto* const pItems : {&result.vecRuns, &result.vecOutputs}) {
    for (const PrunedItem& item : *pItems) {
      cb += item.cb;
    }
  }
  return cb;
}

/// What was put aside has a name of its own.
std::string taskOf(const PrunedItem& item) {
  return item.jRun.isObject() ? textOf(item.jRun, "task_name") : item.strFolder;
}

std::string startText(const PrunedItem& item) {
  Json::Value jTime(Json::objectValue);
  jTime["start_time"] = item.iStartTime;
  return timeText(jTime, "start_time");
}

void printLines(const PruneResult& result, bool blDryRun) {
  const char* const szDone = blDryRun ? "would remove" : "removed";
  for (const PrunedItem& item : result.vecRuns) {
    fmt::print("{} run {} of {}, {}, {}\n", szDone, intOf(item.jRun, "result_id"), taskOf(item), startText(item),
               sizeText(item.cb));
  }
  for (const PrunedItem& item : result.vecOutputs) {
    const std::string strRun =
        item.jRun.isObject() ? fmt::format("run {}", intOf(item.jRun, "result_id")) : "a run that is on record no more";
    fmt::print("{} the output of {} of {}, {}, {}\n", szDone, strRun, taskOf(item), startText(item), sizeText(item.cb));
  }
  fmt::print("{} {} run{} and the output of {} more: {}\n", szDone, result.vecRuns.size(),
             result.vecRuns.size() == 1 ? "" : "s", result.vecOutputs.size(), sizeText(sizeOf(result)));
}

Json::Value itemsForPrograms(const std::vector<PrunedItem>& vecItems) {
  Json::Value jItems(Json::arrayValue);
  for (const PrunedItem& item : vecItems) {
    Json::Value jItem(Json::objectValue);
    jItem["result_id"] = item.jRun.isObject() ? item.jRun["result_id"] : Json::Value();
    jItem["task_name"] = taskOf(item);
    jItem["start_time"] = item.iStartTime;
    jItem["bytes"] = static_cast<Json::UInt64>(item.cb);
    jItems.append(jItem);
  }
  return jItems;
}

void printResultJson(const PruneResult& result, bool blDryRun) {
  Json::Value jOut(Json::objectValue);
  jOut["dry_run"] = blDryRun;
  jOut["runs"] = itemsForPrograms(result.vecRuns);
  jOut["outputs"] = itemsForPrograms(result.vecOutputs);
  jOut["bytes"] = static_cast<Json::UInt64>(sizeOf(result));
  jOut["problems"] = Json::Value(Json::arrayValue);
  for (const std::string& strProblem : result.vecProblems) {
    jOut["problems"].append(strProblem);
  }
  printJson(jOut);
}

int runPrune(const Context&, const PruneOptions& options) {
  const Host::Settings settings = Host::currentSettings();
  Host::Session session;
  closeInterruptedRuns(session);
  const PruneResult result = Host::pruneRuns(session, settings, options.blDryRun);
  if (options.blJson) {
    printResultJson(result, options.blDryRun);
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
