/// eorva task list|show|delete

#include <chrono>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iostream>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/failure.h"
#include "common/json_read.h"
#include "common/reconcile.h"
#include "common/session.h"
#include "common/task_graph.h"
#include "context.h"
#include "present.h"

using Host::boolOf;
using Host::textOf;

namespace {

struct ListOptions {
  std::string strEvent;
  bool blJson = false;
};

struct ShowOptions {
  std::string strTask;
  bool blJson = false;
};

struct DeleteOptions {
  std::string strTask;
  bool blYes = false;
};

/// How the newest run of a task ended; its members are copies of that run's.
Host::Outcome lastOutcome(const Json::Value& jTask) {
  Json::Value jRun(Json::objectValue);
  jRun["exit_info"] = Host::memberOf(jTask, "last_exit_info");
  if (Host::intOf(jTask, "last_stop_time") != 0) {
    jRun["stop_time"] = jTask["last_stop_time"];
  }
  return Host::outcomeOf(jRun);
}

bool hasRun(const Json::Value& jTask) {
  return Host::intOf(jTask, "last_start_time") != 0;
}

int runList(const Context& context, const ListOptions& options) {
  Host::Session session;
  Json::Value jFilter(Json::objectValue);
  if (!options.strEvent.empty()) {
    jFilter["event"] = options.strEvent;
  }
  Json::Value jOut(Json::arrayValue);
  Table table({{"TASK"}, {"EVENT"}, {"OWNER"}, {"ENABLED"}, {"WAITS FOR"}, {"LAST START"}, {"HOW IT ENDED"}},
              context.isColored());
  for (const Json::Value& jTask : Host::listTasks(session, jFilter)) {
    jOut.append(taskForPrograms(jTask));
    const Host::Outcome outcome = lastOutcome(jTask);
    table.addRow({{textOf(jTask, "task_name")},
                  {textOf(jTask, "event")},
                  {ownerText(jTask)},
                  {boolOf(jTask, "enable", true) ? "yes" : "no"},
                  {needsText(jTask)},
                  {timeText(jTask, "last_start_time")},
                  hasRun(jTask) ? Table::Cell{outcome.strText, outcomeColor(outcome.kind)} : Table::Cell{"-"}});
  }
  if (options.blJson) {
    printJson(jOut);
  } else {
    table.print();
  }
  return EXIT_DONE;
}

std::string neededByText(Host::Session& session, const std::string& strTask) {
  std::vector<std::string> vecNames;
  const Host::TaskGraph graph(Host::listTasks(session));
  for (const Host::GraphTask* pTask : graph.dependantsOf(strTask)) {
    vecNames.push_back(pTask->strName);
  }
  return vecNames.empty() ? "-" : fmt::format("{}", fmt::join(vecNames, ", "));
}

std::string mailText(const Json::Value& jTask) {
  if (!boolOf(jTask, "notify_enable")) {
    return "-";
  }
  return textOf(jTask, "notify_mail") + (boolOf(jTask, "notify_if_error") ? " (when it did not end with 0)" : "");
}

int runShow(const Context&, const ShowOptions& options) {
  Host::Session session;
  const Json::Value jTask = Host::requireTask(session, options.strTask);
  if (options.blJson) {
    printJson(taskForPrograms(jTask));
    return EXIT_DONE;
  }
  const std::vector<pid_t> vecPids = Host::livePidsOf(jTask);
  printFields({{"task", textOf(jTask, "task_name")},
               {"event", textOf(jTask, "event")},
               {"owner", ownerText(jTask)},
               {"enabled", boolOf(jTask, "enable", true) ? "yes" : "no"},
               {"waits for", needsText(jTask)},
               {"needed by", neededByText(session, options.strTask)},
               {"several runs at once", boolOf(jTask, "run_the_same_time") ? "yes" : "no"},
               {"mail", mailText(jTask)},
               {"last start", timeText(jTask, "last_start_time")},
               {"last stop", timeText(jTask, "last_stop_time")},
               {"how it ended", hasRun(jTask) ? lastOutcome(jTask).strText : "-"},
               {"running now", vecPids.empty() ? "-" : fmt::format("process {}", fmt::join(vecPids, ", "))}});
  fmt::print("\n{}", textOf(jTask, "operation"));
  return EXIT_DONE;
}

void confirmDelete(Host::Session& session, const std::string& strTask) {
  const std::string strNeededBy = neededByText(session, strTask);
  const std::string strQuestion =
      fmt::format("deleting \"{}\" also deletes the records of its runs{}", strTask,
                  strNeededBy == "-" ? "" : fmt::format(", and these no longer wait for it: {}", strNeededBy));
  if (isatty(STDIN_FILENO) != 1) {
    throw Host::Failure(fmt::format("{}: add --yes if that is meant", strQuestion));
  }
  fmt::print(stderr, "eorva: {}. Delete it? [y/N] ", strQuestion);
  std::string strAnswer;
  std::getline(std::cin, strAnswer);
  if (strAnswer != "y" && strAnswer != "yes") {
    throw Host::Failure(fmt::format("the task \"{}\" is not deleted", strTask));
  }
}

void refuseWhileRunning(const Json::Value& jTask) {
  if (const std::vector<pid_t> vecPids = Host::livePidsOf(jTask); !vecPids.empty()) {
    throw Host::Failure(fmt::format("the task \"{}\" is running (process {}) and cannot be deleted now",
                                    textOf(jTask, "task_name"), fmt::join(vecPids, ", ")));
  }
}

/// One try, on a connection of its own: a failed one leaves a transaction open.
/// \return false when another process was writing.
bool tryDelete(const std::string& strTask) {
  Host::Session session;
  // Again: it may have been started while the question was open.
  refuseWhileRunning(Host::requireTask(session, strTask));
  Json::Value jIn(Json::objectValue);
  jIn["task_name"] = strTask;
  if (recDelete(session.tasks(), jIn, session.db()) >= 0) {
    return true;
  }
  if ((sqlite3_errcode(session.db()) & 0xFF) != SQLITE_BUSY) {
    throw Host::Failure(fmt::format("the store refused to delete the task \"{}\"", strTask));
  }
  return false;
}

int runDelete(const Context&, const DeleteOptions& options) {
  using namespace std::chrono_literals;
  {
    Host::Session session;
    refuseWhileRunning(Host::requireTask(session, options.strTask));
    if (!options.blYes) {
      confirmDelete(session, options.strTask);
    }
  }
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!tryDelete(options.strTask)) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw Host::Failure(
          fmt::format("the task \"{}\" is not deleted: other processes keep writing to the store", options.strTask));
    }
    std::this_thread::sleep_for(50ms);
  }
  fmt::print("deleted {}\n", options.strTask);
  return EXIT_DONE;
}

}  // namespace

void addTaskCommands(CLI::App& app, Context& context) {
  CLI::App* pTask = addCommand(app, "task", "Add, show and delete tasks.",
                               "  eorva task list --event bootup\n"
                               "  eorva task show disk-usage\n");
  pTask->require_subcommand(1);
  addTaskAddCommand(*pTask, context);

  auto pList = std::make_shared<ListOptions>();
  CLI::App* pCommand = addCommand(*pTask, "list", "List tasks.", "  eorva task list --event bootup --json\n");
  pCommand->add_option("--event", pList->strEvent, "only the tasks of this event")->type_name("EVENT");
  pCommand->add_flag("--json", pList->blJson, "as JSON: an array of records");
  onCommand(pCommand, context, pList, &runList);

  auto pShow = std::make_shared<ShowOptions>();
  pCommand = addCommand(*pTask, "show", "Show a task and its script.", "  eorva task show disk-usage\n");
  pCommand->add_option("task", pShow->strTask, "its name")->required()->type_name("TASK");
  pCommand->add_flag("--json", pShow->blJson, "as JSON: the record");
  onCommand(pCommand, context, pShow, &runShow);

  addGraphCommand(*pTask, context);

  auto pDelete = std::make_shared<DeleteOptions>();
  pCommand = addCommand(*pTask, "delete", "Delete a task, its place in other tasks' lists, and its run records.",
                        "  eorva task delete disk-usage --yes\n");
  pCommand->add_option("task", pDelete->strTask, "its name")->required()->type_name("TASK");
  pCommand->add_flag("--yes", pDelete->blYes, "do not ask");
  onCommand(pCommand, context, pDelete, &runDelete);
}
