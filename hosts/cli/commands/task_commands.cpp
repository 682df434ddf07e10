/// eorva task list|show

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/answers/task_answers.h"
#include "common/runs/next_try.h"
#include "common/runs/run_query.h"
#include "common/runs/running_list.h"
#include "common/store/records.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_query.h"
#include "common/text/json_members.h"
#include "common/text/shell_word.h"
#include "common/text/terminal_text.h"

using Host::boolOf;
using Host::textOf;

namespace {

struct ListOptions {
  Host::TaskQuery query;
  std::string strOwner;
  bool blJson = false;
};

struct ShowOptions {
  std::string strTask;
  bool blJson = false;
};

bool hasRun(const Json::Value& jTask) {
  return Host::intOf(jTask, "last_start_time") != 0;
}

std::string timeLimitText(const Json::Value& jTask) {
  const Json::Int64 iLimit = Host::intOf(jTask, "time_limit");
  return iLimit == 0 ? "-" : Host::durationText(iLimit);
}

int runList(const Context& context, const ListOptions& options) {
  const Host::OpenStore session;
  Host::TaskQuery query = options.query;
  query.owner = userFrom(options.strOwner);
  const std::string strWhere = Host::whereTask(session, query);
  if (options.blJson) {
    JsonArray array;
    Host::forEachTask(session, Host::TASK_MEMBERS, strWhere,
                      [&](const Json::Value& jTask) { array.add(Host::taskForPrograms(jTask)); });
    array.end();
    return EXIT_DONE;
  }
  const Json::Value jTasks =
      Host::listTaskMembers(session,
                            {"task_name", "event", "owner", "owner_name", "enable", "depend_on_task", "time_limit",
                             "only_after_success", "last_start_time", "last_stop_time", "last_exit_info"},
                            strWhere);
  if (jTasks.empty()) {
    printNote("no tasks");
    return EXIT_DONE;
  }
  Table table({{"TASK"},
               {"EVENT"},
               {"OWNER"},
               {"ENABLED"},
               {"WAITS FOR"},
               {"TIME LIMIT", true},
               {"LAST START"},
               {"HOW IT ENDED"}},
              context.isColored());
  const OwnerNames owners = ownerNames(jTasks);
  std::map<std::string, Json::Value> mapNewest = Host::newestRunOfEach(session);
  for (const Json::Value& jTask : jTasks) {
    const Host::Outcome outcome = Host::lastOutcomeOf(jTask, mapNewest[textOf(jTask, "task_name")]);
    table.addRow({{textOf(jTask, "task_name")},
                  {textOf(jTask, "event")},
                  {owners.at(textOf(jTask, "task_name"))},
                  {boolOf(jTask, "enable", true) ? "yes" : "no"},
                  {waitsForText(jTask)},
                  {timeLimitText(jTask)},
                  {timeText(jTask, "last_start_time")},
                  hasRun(jTask) ? Table::Cell{outcome.strText, outcomeColor(outcome.kind)} : Table::Cell{"-"}});
  }
  table.print();
  return EXIT_DONE;
}

std::string dependantsText(Host::Session& session, const std::string& strTask) {
  std::vector<std::string> vecNames;
  Host::forEachTask(
      session, {"task_name", "depend_on_task"}, Host::whereAwaits(strTask), [&](const Json::Value& jTask) {
        const std::vector<std::string> vecAwaited = Host::readDependencyList(textOf(jTask, "depend_on_task"));
        if (std::find(vecAwaited.begin(), vecAwaited.end(), strTask) != vecAwaited.end()) {
          vecNames.push_back(textOf(jTask, "task_name"));
        }
      });
  return listText(vecNames);
}

std::string mailText(const Json::Value& jTask) {
  if (!boolOf(jTask, "notify_enable")) {
    return "-";
  }
  return textOf(jTask, "notify_mail") + (boolOf(jTask, "notify_if_error") ? " (when a run failed)" : "");
}

std::string outputLimitText(const Json::Value& jTask) {
  const Json::Int64 cb = Host::intOf(jTask, "output_limit", -1);
  return cb < 0 ? "as in the settings" : cb == 0 ? "-" : Host::sizeText(static_cast<std::uint64_t>(cb));
}

std::string memoryLimitText(const Json::Value& jTask) {
  const Json::Int64 cb = Host::intOf(jTask, "memory_limit");
  return cb <= 0 ? "-" : Host::sizeText(static_cast<std::uint64_t>(cb));
}

std::string environmentText(const Json::Value& jTask) {
  const Json::Value& jEnvironment = Host::memberOf(jTask, "environment");
  std::vector<std::string> vecVariables;
  for (const std::string& strName : jEnvironment.isObject() ? jEnvironment.getMemberNames() : Json::Value::Members()) {
    vecVariables.push_back(fmt::format("{}={}", strName, Host::shellWord(textOf(jEnvironment, strName.c_str()))));
  }
  return vecVariables.empty() ? "-" : fmt::format("{}", fmt::join(vecVariables, " "));
}

std::string retryText(const Json::Value& jTask) {
  const Json::Int64 cRetries = Host::intOf(jTask, "retries");
  return cRetries == 0 ? "-"
                       : fmt::format("{}, each after {}", countText(static_cast<std::size_t>(cRetries), "time"),
                                     Host::durationText(Host::intOf(jTask, "retry_after")));
}

std::string nextTryText(Host::Session& session, const std::string& strTask) {
  const Host::NextTries tries = Host::nextTries();
  std::vector<std::string> vecTexts;
  for (const Json::Value& jRun : Host::runsTriedAgain(session, tries, strTask)) {
    vecTexts.push_back(Host::nextTryText(Host::nextTryAfter(tries, jRun)));
  }
  return listText(vecTexts);
}

int runShow(const Context&, const ShowOptions& options) {
  const Host::OpenStore session;
  const Json::Value jTask = Host::requireTask(session, options.strTask);
  if (options.blJson) {
    printJson(Host::taskForPrograms(jTask));
    return EXIT_DONE;
  }
  const Host::Outcome outcome = Host::lastOutcomeOf(jTask, Host::newestRunOf(session, options.strTask));
  const std::vector<pid_t> vecPids = Host::listedPidsOf(session, jTask);
  printFields({{"task", textOf(jTask, "task_name")},
               {"event", textOf(jTask, "event")},
               {"owner", Host::ownerText(jTask)},
               {"description", textOf(jTask, "description").empty() ? "-" : textOf(jTask, "description")},
               {"enabled", boolOf(jTask, "enable", true) ? "yes" : "no"},
               {"waits for", waitsForText(jTask)},
               {"needed by", dependantsText(session, options.strTask)},
               {"parallel runs", boolOf(jTask, "run_the_same_time") ? "yes" : "no"},
               {"time limit", timeLimitText(jTask)},
               {"output limit", outputLimitText(jTask)},
               {"directory", textOf(jTask, "directory")},
               {"nice", std::to_string(Host::intOf(jTask, "nice"))},
               {"I/O class", textOf(jTask, "io_class")},
               {"memory limit", memoryLimitText(jTask)},
               {"environment", environmentText(jTask)},
               {"retry", retryText(jTask)},
               {"mail", mailText(jTask)},
               {"last start", timeText(jTask, "last_start_time")},
               {"last stop", timeText(jTask, "last_stop_time")},
               {"how it ended", hasRun(jTask) ? outcome.strText : "-"},
               {"running now", vecPids.empty() ? "-" : fmt::format("process {}", fmt::join(vecPids, ", "))},
               {"next try", nextTryText(session, options.strTask)}});
  fmt::print("\n{}", Host::shownOn(STDOUT_FILENO, textOf(jTask, "operation")));
  return EXIT_DONE;
}

}  // namespace

void addTaskCommands(CLI::App& app, Context& context) {
  CLI::App* pTask = addCommand(app, "task", "Add, show and change tasks.",
                               "  eorva task list --event bootup\n"
                               "  eorva task show disk-usage\n");
  pTask->require_subcommand(1);

  CLI::App* pCommand = addCommand(*pTask, "list", "List tasks.",
                                  "  eorva task list --event bootup --json\n"
                                  "  eorva task list --owner alice --state failed\n");
  auto pList = onCommand(pCommand, context, &runList);
  pCommand->add_option("--event", pList->query.strEvent, "only tasks of this event")->type_name("EVENT");
  pCommand->add_option("--owner", pList->strOwner, "only tasks of this user; a name or user id")->type_name("USER");
  pCommand
      ->add_option("--state", pList->query.strState,
                   "only tasks in this state; ok and failed: by the newest run; never: without a run")
      ->check(oneOf({Host::TASK_STATES.begin(), Host::TASK_STATES.end()}))
      ->type_name("STATE");
  pCommand->add_option("--text", pList->query.strText, "only tasks with this text in name, description or script")
      ->type_name("TEXT");
  pCommand->add_flag("--json", pList->blJson, "as JSON: an array of records");

  pCommand = addCommand(*pTask, "show", "Show a task and its script.", "  eorva task show disk-usage\n");
  auto pShow = onCommand(pCommand, context, &runShow);
  pCommand->add_option("task", pShow->strTask, "name of the task")->required()->type_name("TASK");
  pCommand->add_flag("--json", pShow->blJson, "as JSON: the record");

  addTaskAddCommand(*pTask, context);
  addTaskEditCommands(*pTask, context);
  addTaskCopyCommand(*pTask, context);
  addTaskRenameCommands(*pTask, context);
  addGraphCommand(*pTask, context);
  addRelateCommand(*pTask, context);
}
