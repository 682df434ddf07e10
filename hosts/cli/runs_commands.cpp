/// eorva runs list|show|output|script

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <sqlite3.h>
#include <unistd.h>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/output_folder.h"
#include "common/session.h"
#include "context.h"
#include "present.h"

using Host::intOf;
using Host::textOf;

namespace {

struct ListOptions {
  std::string strTask;
  std::string strEvent;
  unsigned cLimit = 50;
  bool blJson = false;
};

struct RunOptions {
  Json::Int64 iResult = 0;
  bool blJson = false;
};

std::string quoted(const std::string& strText) {
  const std::unique_ptr<char, decltype(&sqlite3_free)> szText(sqlite3_mprintf("%Q", strText.c_str()), &sqlite3_free);
  return szText != nullptr ? szText.get() : "''";
}

std::string whereOf(const ListOptions& options) {
  std::string strWhere = "1";
  if (!options.strTask.empty()) {
    strWhere += " and task_name = " + quoted(options.strTask);
  }
  if (!options.strEvent.empty()) {
    strWhere += " and trigger_event = " + quoted(options.strEvent);
  }
  return strWhere;
}

int runList(const Context& context, const ListOptions& options) {
  Host::Session session;
  if (!options.strTask.empty()) {
    Host::requireTask(session, options.strTask);
  }
  const Json::Value jRuns = Host::listRuns(session, whereOf(options), options.cLimit);
  std::vector<Json::Value> vecRuns(jRuns.begin(), jRuns.end());
  std::reverse(vecRuns.begin(), vecRuns.end());
  const OwnerNames owners = ownerNames(Host::listTasks(session));
  if (options.blJson) {
    Json::Value jOut(Json::arrayValue);
    for (const Json::Value& jRun : vecRuns) {
      jOut.append(runForPrograms(jRun, owners));
    }
    printJson(jOut);
  } else {
    printRuns(vecRuns, owners, context.isColored());
  }
  return EXIT_DONE;
}

int runShow(const Context&, const RunOptions& options) {
  Host::Session session;
  const Json::Value jRun = Host::requireRun(session, options.iResult);
  const OwnerNames owners = ownerNames(Host::listTasks(session));
  const Json::Value jShown = runForPrograms(jRun, owners);
  if (options.blJson) {
    printJson(jShown);
    return EXIT_DONE;
  }
  printFields({{"run", std::to_string(options.iResult)},
               {"task", textOf(jRun, "task_name")},
               {"owner", textOf(jShown, "owner_name")},
               {"trigger", textOf(jRun, "trigger_event")},
               {"event taken in", timeText(jRun, "event_fire_time")},
               {"start", timeText(jRun, "start_time")},
               {"stop", timeText(jRun, "stop_time")},
               {"time", jShown["duration"].isNull() ? "-" : durationText(intOf(jShown, "duration"))},
               {"process", std::to_string(intOf(jRun, "pid"))},
               {"how it ended", Host::outcomeOf(jRun).strExplanation}});
  return EXIT_DONE;
}

/// Passes a file on piece by piece: a log can be larger than memory.
void copyToStdout(const Host::UniqueFd& fd) {
  std::array<char, 65536> buffer{};
  ssize_t cbRead = 0;
  while ((cbRead = read(fd.get(), buffer.data(), buffer.size())) > 0) {
    for (ssize_t cbDone = 0, cb = 0; cbDone < cbRead; cbDone += cb) {
      cb = write(STDOUT_FILENO, buffer.data() + cbDone, static_cast<std::size_t>(cbRead - cbDone));
      if (cb < 0) {
        throw Host::Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
      }
    }
  }
  if (cbRead < 0) {
    throw Host::Failure(fmt::format("cannot read what the run left: {}", std::strerror(errno)));
  }
}

int printRunFile(Json::Int64 iResult, const char* szFile) {
  Host::Session session;
  const Json::Value jRun = Host::requireRun(session, iResult);
  const std::optional<Host::OutputFolder> folder = Host::OutputFolder::configured();
  if (!folder) {
    throw Host::Failure(fmt::format("nothing is kept of run {}: no output folder is set, or output is off", iResult));
  }
  copyToStdout(folder->openRunFile(textOf(jRun, "task_name"), static_cast<long>(intOf(jRun, "start_time")), szFile));
  return EXIT_DONE;
}

int runOutput(const Context&, const RunOptions& options) {
  return printRunFile(options.iResult, "output.log");
}
int runScript(const Context&, const RunOptions& options) {
  return printRunFile(options.iResult, "script.log");
}

std::shared_ptr<RunOptions> addRunOption(CLI::App* pCommand) {
  auto pOptions = std::make_shared<RunOptions>();
  pCommand->add_option("run", pOptions->iResult, "its number")
      ->required()
      ->type_name("RUN")
      ->check(CLI::PositiveNumber);
  return pOptions;
}

}  // namespace

void addRunsCommands(CLI::App& app, Context& context) {
  CLI::App* pRuns = addCommand(app, "runs", "Show what ran, and how it ended.",
                               "  eorva runs list --task disk-usage\n"
                               "  eorva runs output 12\n");
  pRuns->require_subcommand(1);

  auto pList = std::make_shared<ListOptions>();
  CLI::App* pCommand = addCommand(*pRuns, "list", "List runs, the newest first.",
                                  "  eorva runs list --event bootup --limit 10\n"
                                  "  eorva runs list --json --limit 0\n");
  pCommand->add_option("--task", pList->strTask, "only runs of this task")->type_name("TASK");
  pCommand->add_option("--event", pList->strEvent, "only runs that this event started")->type_name("EVENT");
  pCommand->add_option("--limit", pList->cLimit, "how many at most; 0 lists all")
      ->capture_default_str()
      ->type_name("N");
  pCommand->add_flag("--json", pList->blJson, "as JSON: an array of records");
  onCommand(pCommand, context, pList, &runList);

  pCommand = addCommand(*pRuns, "show", "Show one run.", "  eorva runs show 12\n");
  std::shared_ptr<RunOptions> pRun = addRunOption(pCommand);
  pCommand->add_flag("--json", pRun->blJson, "as JSON: the record");
  onCommand(pCommand, context, pRun, &runShow);

  pCommand = addCommand(*pRuns, "output", "Show what a run printed.", "  eorva runs output 12 | less\n");
  onCommand(pCommand, context, addRunOption(pCommand), &runOutput);

  pCommand = addCommand(*pRuns, "script", "Show the script that a run ran.", "  eorva runs script 12\n");
  onCommand(pCommand, context, addRunOption(pCommand), &runScript);
}
