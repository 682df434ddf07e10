/// eorva runs list

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sqlite3.h>

#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/server/users.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/time_spec.h"
#include "runs_commands.h"

using Host::intOf;
using Host::textOf;

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

std::string quoted(const std::string& strText) {
  const std::unique_ptr<char, decltype(&sqlite3_free)> szText(sqlite3_mprintf("%Q", strText.c_str()), &sqlite3_free);
  return szText != nullptr ? szText.get() : "''";
}

/// A run belongs to whom its task belongs to.
std::string whereOwner(const Json::Value& jTasks, const std::string& strOwner) {
  const std::optional<uid_t> uid = Host::findUser(strOwner);
  if (!uid) {
    throw Host::Failure(fmt::format("there is no user \"{}\"", strOwner));
  }
  std::vector<std::string> vecTasks;
  for (const Json::Value& jTask : jTasks) {
    if (intOf(jTask, "owner", -1) == static_cast<Json::Int64>(*uid)) {
      vecTasks.push_back(quoted(textOf(jTask, "task_name")));
    }
  }
  return fmt::format(" and task_name in ({})", fmt::join(vecTasks, ", "));
}

std::string whereTime(const char* szOption, const char* szCompare, const std::string& strTime) {
  const std::optional<std::time_t> time = Host::readTimeSpec(strTime, std::time(nullptr));
  if (!time) {
    throw Host::UsageFailure(
        fmt::format("runs list: {} \"{}\" is no time; times are {}", szOption, strTime, Host::TIME_SPEC_FORMS));
  }
  return fmt::format(" and start_time {} {}", szCompare, *time);
}

std::string whereOutcomeWord(const std::string& strWord) {
  using Kind = Host::Outcome::Kind;
  for (const Kind kind : {Kind::OK, Kind::FAILED, Kind::RUNNING}) {
    if (strWord == Host::outcomeWord(kind)) {
      return " and " + Host::whereOutcome(kind);
    }
  }
  return {};
}

std::string whereOf(const ListOptions& options, const Json::Value& jTasks) {
  std::string strWhere = "1";
  if (!options.strTask.empty()) {
    strWhere += " and task_name = " + quoted(options.strTask);
  }
  if (!options.strEvent.empty()) {
    strWhere += " and trigger_event = " + quoted(options.strEvent);
  }
  if (!options.strOwner.empty()) {
    strWhere += whereOwner(jTasks, options.strOwner);
  }
  if (!options.strSince.empty()) {
    strWhere += whereTime("--since", ">=", options.strSince);
  }
  if (!options.strUntil.empty()) {
    strWhere += whereTime("--until", "<=", options.strUntil);
  }
  if (options.iBefore != 0) {
    strWhere += fmt::format(" and result_id < {}", options.iBefore);
  }
  return strWhere + whereOutcomeWord(options.blRunning ? "running" : options.strOutcome);
}

/// The newest runs that are asked for, the newest first.
/// \param blMore  tells whether there are older ones.
std::vector<Json::Value> newestRuns(Host::Session& session, const std::string& strWhere, unsigned cLimit,
                                    bool& blMore) {
  const Json::Value jRuns = Host::listRuns(session, strWhere, cLimit == 0 ? 0 : cLimit + 1);
  std::vector<Json::Value> vecRuns(jRuns.begin(), jRuns.end());
  std::reverse(vecRuns.begin(), vecRuns.end());
  blMore = cLimit != 0 && vecRuns.size() > cLimit;
  if (blMore) {
    vecRuns.resize(cLimit);
  }
  return vecRuns;
}

int runList(const Context& context, const ListOptions& options) {
  Host::Session session;
  closeInterruptedRuns(session);
  if (!options.strTask.empty()) {
    Host::requireTask(session, options.strTask);
  }
  const Json::Value jTasks = Host::listTasks(session);
  bool blMore = false;
  const std::vector<Json::Value> vecRuns = newestRuns(session, whereOf(options, jTasks), options.cLimit, blMore);
  const OwnerNames owners = ownerNames(jTasks);
  if (options.blJson) {
    Json::Value jOut(Json::arrayValue);
    for (const Json::Value& jRun : vecRuns) {
      jOut.append(runForPrograms(jRun, owners));
    }
    printJson(jOut);
    return EXIT_DONE;
  }
  if (vecRuns.empty()) {
    printNote("no runs");
  } else {
    printRuns(vecRuns, owners, context.isColored());
  }
  if (blMore) {
    printNote(fmt::format("there are older runs: add --before {}", intOf(vecRuns.back(), "result_id")));
  }
  return EXIT_DONE;
}

void addFilterOptions(CLI::App* pCommand, ListOptions& options) {
  pCommand->add_option("--task", options.strTask, "only runs of this task")->type_name("TASK");
  pCommand->add_option("--event", options.strEvent, "only runs that this event started; on_demand for those by hand")
      ->type_name("EVENT");
  pCommand->add_option("--owner", options.strOwner, "only runs of this user's tasks, by name or id")->type_name("USER");
  CLI::Option* pOutcome = pCommand->add_option("--outcome", options.strOutcome, "only runs that ended so")
                              ->check(CLI::IsMember({"ok", "failed", "running"}))
                              ->type_name("ok|failed|running");
  pCommand->add_flag("--running", options.blRunning, "only runs that go on: --outcome running")->excludes(pOutcome);
  pCommand->add_option("--since", options.strSince, "only runs that started then or later")->type_name("TIME");
  pCommand->add_option("--until", options.strUntil, "only runs that started then or earlier")->type_name("TIME");
}

}  // namespace

void addRunsListCommand(CLI::App& runs, Context& context) {
  auto pOptions = std::make_shared<ListOptions>();
  CLI::App* pCommand = addCommand(runs, "list", "List runs, the newest first.",
                                  "  eorva runs list --event bootup --limit 10\n"
                                  "  eorva runs list --outcome failed --since yesterday --owner alice\n"
                                  "  eorva runs list --before 4711           the 50 before that one\n"
                                  "  eorva runs list --json --limit 0        all\n"
                                  "\nTimes: " +
                                      std::string(Host::TIME_SPEC_FORMS) + "\n");
  addFilterOptions(pCommand, *pOptions);
  pCommand->add_option("--limit", pOptions->cLimit, "how many at most; 0 lists all")
      ->capture_default_str()
      ->check(wholeNumber(0, 1'000'000'000))
      ->type_name("N");
  pCommand->add_option("--before", pOptions->iBefore, "only runs with a smaller number: the next page")
      ->check(wholeNumber(1))
      ->type_name("RUN");
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: an array of records");
  onCommand(pCommand, context, pOptions, &runList);
}
