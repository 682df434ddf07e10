/// eorva check

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/finding_text.h"
#include "common/answers/server_answers.h"
#include "common/health/check.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"

using Host::HealthFinding;
using Host::HealthFindings;

namespace {

struct CheckOptions {
  bool blRepair = false;
  bool blJson = false;
};

/// \return why runs were not closed; empty when they were.
std::string repair() {
  const Host::Repairs repairs = Host::repairInstallation();
  for (const Json::Value& jRun : repairs.vecRuns) {
    printNote(fmt::format("closed run {} of \"{}\", which was interrupted", Host::intOf(jRun, "result_id"),
                          Host::textOf(jRun, "task_name")));
  }
  for (const auto& [strTask, strPath] : repairs.vecOutputs) {
    printNote(fmt::format("moved the output of \"{}\" back from {}", strTask, strPath));
  }
  for (const std::string& strTimer : repairs.vecTimers) {
    printNote(fmt::format("set {} right", strTimer));
  }
  printNote(repairs.strTimerProblem);
  printNote(repairs.strProblem);
  return repairs.strStoreProblem;
}

void printFindings(const HealthFindings& findings, std::size_t cProblems) {
  for (const HealthFinding& finding : findings) {
    say("{}: {}\n    {}\n", Host::severityWord(finding.severity), Host::findingText(finding),
        Host::findingAdvice(finding));
  }
  if (findings.empty()) {
    say("no problems found\n");
    return;
  }
  const std::size_t cWarnings = findings.size() - cProblems;
  say("{}, {}\n", countText(cProblems, "problem"), countText(cWarnings, "warning"));
}

int runCheck(const Context&, const CheckOptions& options) {
  const HealthFindings findings = Host::checkInstallation(options.blRepair ? repair() : std::string());
  const std::size_t cProblems = Host::problemsAmong(findings);
  if (options.blJson) {
    printJson(Host::checkForPrograms(findings));
  } else {
    printFindings(findings, cProblems);
  }
  return cProblems == 0 ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addCheckCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand = addCommand(app, "check", "Check the installation; the exit status is 1 if there is a problem.",
                                  "  eorva check                 shows each problem with a command to type\n"
                                  "  eorva check --repair        repairs what it can, then checks again\n"
                                  "  eorva check --json\n");
  auto pOptions = onCommand(pCommand, context, &runCheck);
  pCommand->add_flag("--repair", pOptions->blRepair,
                     "close runs whose process has ended; move back output that an interrupted rename left elsewhere; "
                     "set timers of events right");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON object with \"ok\" and \"findings\"");
}
