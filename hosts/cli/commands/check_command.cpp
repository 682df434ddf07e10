/// eorva check

#include <algorithm>
#include <fmt/format.h>
#include <optional>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/health/installation_health.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/tasks/unfinished_rename.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"

using Host::HealthFinding;
using Host::HealthFindings;

namespace {

struct CheckOptions {
  bool blRepair = false;
  bool blJson = false;
};

void repair(Host::Session& session) {
  for (const Json::Value& jRun : Host::reconcile(session)) {
    printNote(fmt::format("run {} of \"{}\" was interrupted; it is closed now", Host::intOf(jRun, "result_id"),
                          Host::onOneLine(Host::textOf(jRun, "task_name"))));
  }
  try {
    for (const Host::UnfinishedRename& lost : Host::finishRenames(session)) {
      printNote(fmt::format("the output of \"{}\" lay in {}; it is in its place again", lost.strTask, lost.path()));
    }
  } catch (const Host::Failure& error) {
    // What stays as it is is found again.
    printNote(error.what());
  }
}

HealthFindings findAll(bool blRepair) {
  HealthFindings findings;
  std::optional<Host::Session> session;
  Json::Value jTasks(Json::arrayValue);
  try {
    session.emplace();
    jTasks = Host::listTasks(*session);
    if (blRepair) {
      repair(*session);
    }
    Host::checkRuns(*session, findings);
    Host::checkUnfinishedRenames(*session, findings);
  } catch (const Host::Failure& error) {
    findings.push_back(
        {HealthFinding::Severity::PROBLEM, "store", Host::DATABASE_PATH, error.what(), Host::storeAdvice()});
  }
  Host::checkStore(session ? &*session : nullptr, findings);
  Host::checkConfiguration(jTasks, findings);
  Host::checkMailProgram(jTasks, findings);
  Host::checkEvents(jTasks, findings);
  Host::checkTimers(findings);
  Host::checkTasks(jTasks, findings);
  return findings;
}

const char* severityWord(HealthFinding::Severity severity) {
  return severity == HealthFinding::Severity::PROBLEM ? "problem" : "warning";
}

void printFindings(const HealthFindings& findings, long cProblems) {
  for (const HealthFinding& finding : findings) {
    fmt::print("{}: {}\n", severityWord(finding.severity), Host::onOneLine(finding.strText));
    fmt::print("    {}\n", Host::onOneLine(finding.strAdvice));
  }
  if (findings.empty()) {
    fmt::print("all is well\n");
    return;
  }
  const long cWarnings = static_cast<long>(findings.size()) - cProblems;
  fmt::print("{} problem{}, {} warning{}\n", cProblems, cProblems == 1 ? "" : "s", cWarnings,
             cWarnings == 1 ? "" : "s");
}

void printFindingsJson(const HealthFindings& findings, long cProblems) {
  Json::Value jOut(Json::objectValue);
  jOut["ok"] = cProblems == 0;
  jOut["findings"] = Json::Value(Json::arrayValue);
  for (const HealthFinding& finding : findings) {
    Json::Value jFinding(Json::objectValue);
    jFinding["severity"] = severityWord(finding.severity);
    jFinding["area"] = finding.strArea;
    jFinding["subject"] = finding.strSubject;
    jFinding["text"] = finding.strText;
    jFinding["advice"] = finding.strAdvice;
    jOut["findings"].append(jFinding);
  }
  printJson(jOut);
}

int runCheck(const Context&, const CheckOptions& options) {
  const HealthFindings findings = findAll(options.blRepair);
  const long cProblems = std::count_if(findings.begin(), findings.end(), [](const HealthFinding& finding) {
    return finding.severity == HealthFinding::Severity::PROBLEM;
  });
  if (options.blJson) {
    printFindingsJson(findings, cProblems);
  } else {
    printFindings(findings, cProblems);
  }
  return cProblems == 0 ? EXIT_DONE : EXIT_FAILED;
}

}  // namespace

void addCheckCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<CheckOptions>();
  CLI::App* pCommand =
      addCommand(app, "check", "Look the whole installation over; ends with 1 when something is wrong.",
                 "  eorva check                 each finding says what to type\n"
                 "  eorva check --repair        mends what can be mended, and looks again\n"
                 "  eorva check --json\n");
  pCommand->add_flag("--repair", pOptions->blRepair,
                     "close runs whose process is gone; give tasks their output back that a rename left elsewhere");
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: an object with \"ok\" and \"findings\"");
  onCommand(pCommand, context, pOptions, &runCheck);
}
