/// eorva runs list

#include <ctime>
#include <fmt/format.h>

#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/time_spec.h"
#include "runs_commands.h"

namespace {

struct ListOptions {
  std::string strTask;
  std::string strEvent;
  std::string strOwner;
  std::string strOutcome;
  std::string strSince;
  std::string strUntil;
  Json::Int64 iBefore = 0;
  unsigned cLimit = 50;
  bool blRunning = false;
  bool blJson = false;
};

std::optional<std::time_t> timeOf(const char* szOption, const std::string& strTime) {
  const std::optional<std::time_t> time = Host::readTimeSpec(strTime, std::time(nullptr));
  if (!time && !strTime.empty()) {
    throw Host::UsageFailure(
        fmt::format("runs list: {} \"{}\" is not a time; times are {}", szOption, strTime, Host::TIME_SPEC_FORMS));
  }
  return time;
}

std::optional<Host::Outcome::Kind> outcomeOf(const std::string& strWord) {
  using Kind = Host::Outcome::Kind;
  for (const Kind kind : {Kind::OK, Kind::FAILED, Kind::RUNNING}) {
    if (strWord == Host::outcomeWord(kind)) {
      return kind;
    }
  }
  return std::nullopt;
}

Host::RunQuery queryOf(const ListOptions& options) {
  Host::RunQuery query;
  query.strTask = options.strTask;
  query.strEvent = options.strEvent;
  query.owner = userFrom(options.strOwner);
  query.outcome = outcomeOf(options.blRunning ? "running" : options.strOutcome);
  query.blInterrupted = options.strOutcome == "interrupted";
  query.since = timeOf("--since", options.strSince);
  query.until = timeOf("--until", options.strUntil);
  query.iBefore = options.iBefore;
  query.cLimit = options.cLimit;
  return query;
}

/// Prints all runs that match. There may be millions, so they are read and printed page by page.
void printAllAsJson(Host::Session& session, Host::RunQuery query) {
  constexpr unsigned PAGE = 500;
  JsonArray array;
  for (bool blMore = true; blMore;) {
    query.cLimit = PAGE;
    const Host::RunPage page = Host::newestRuns(session, query);
    for (const Json::Value& jRun : page.vecRuns) {
      array.add(Host::runForPrograms(jRun));
    }
    blMore = page.blMore;
    query.iBefore = blMore ? Host::intOf(page.vecRuns.back(), "result_id") : 0;
  }
  array.end();
}

int runList(const Context& context, const ListOptions& options) {
  const Host::OpenStore session;
  closeInterruptedRuns(session);
  const Host::RunQuery query = queryOf(options);
  if (options.blJson && options.cLimit == 0) {
    printAllAsJson(session, query);
    return EXIT_DONE;
  }
  const Host::RunPage page = Host::newestRuns(session, query);
  if (options.blJson) {
    printJson(Host::runsForPrograms(page.vecRuns));
    return EXIT_DONE;
  }
  if (page.vecRuns.empty()) {
    printNote("no runs");
  } else {
    printRuns(page.vecRuns, context.isColored());
  }
  if (page.blMore) {
    printNote(fmt::format("there are older runs: add --before {}", Host::intOf(page.vecRuns.back(), "result_id")));
  }
  return EXIT_DONE;
}

void addFilterOptions(CLI::App* pCommand, ListOptions& options) {
  pCommand->add_option("--task", options.strTask, "only runs of this task")->type_name("TASK");
  pCommand
      ->add_option("--event", options.strEvent,
                   "only runs that this event started; on_demand: runs started with eorva run")
      ->type_name("EVENT");
  pCommand->add_option("--owner", options.strOwner, "only runs of this user's tasks; a name or user id")
      ->type_name("USER");
  CLI::Option* pOutcome = pCommand
                              ->add_option("--outcome", options.strOutcome,
                                           "only runs that are ok, failed, interrupted (have failed, too) or running")
                              ->check(oneOf({"ok", "failed", "interrupted", "running"}))
                              ->type_name("OUTCOME");
  pCommand->add_flag("--running", options.blRunning, "same as --outcome running")->excludes(pOutcome);
  pCommand->add_option("--since", options.strSince, "only runs that started at this time or later")->type_name("TIME");
  pCommand->add_option("--until", options.strUntil, "only runs that started at this time or earlier")
      ->type_name("TIME");
}

}  // namespace

void addRunsListCommand(CLI::App& runs, Context& context) {
  CLI::App* pCommand = addCommand(runs, "list", "List runs, the newest first.",
                                  "  eorva runs list --event bootup --limit 10\n"
                                  "  eorva runs list --outcome failed --since yesterday --owner alice\n"
                                  "  eorva runs list --before 4711           the 50 runs before run 4711\n"
                                  "  eorva runs list --json --limit 0        all runs\n"
                                  "\nTimes: " +
                                      std::string(Host::TIME_SPEC_FORMS) + "\n");
  auto pOptions = onCommand(pCommand, context, &runList);
  addFilterOptions(pCommand, *pOptions);
  pCommand->add_option("--limit", pOptions->cLimit, "list at most N runs; 0: all")
      ->capture_default_str()
      ->check(wholeNumber(0, 1'000'000'000))
      ->type_name("N");
  pCommand->add_option("--before", pOptions->iBefore, "only runs with a smaller number, for the next page")
      ->check(wholeNumber(1))
      ->type_name("RUN");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON array");
}
