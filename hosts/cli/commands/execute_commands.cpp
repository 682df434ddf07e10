/// eorva fire|run

#include <cstdio>
#include <ctime>
#include <fmt/format.h>

#include "cli/detach.h"
#include "cli/execute.h"
#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/coordination/start_ticket.h"
#include "common/events/event_catalogue.h"
#include "common/events/event_environment.h"
#include "common/executions/service_process.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace {

struct ExecuteOptions {
  std::string strName;
  std::vector<std::string> vecEnvironment;
  Json::Int64 iBudget = 0;
  Json::Int64 iFiredAt = 0;
  std::string strTicket;
  bool blDetach = false;
  bool blLeaveNothing = false;
  bool blService = false;
  bool blJson = false;
};

Host::ExecutionRequest requestOf(const ExecuteOptions& options, bool blByEvent) {
  Host::ExecutionRequest request;
  request.blByEvent = blByEvent;
  request.strName = options.strName;
  request.firedAt = options.iFiredAt > 0 ? static_cast<std::time_t>(options.iFiredAt) : std::time(nullptr);
  request.budget = std::chrono::seconds(options.iBudget);
  request.blLeaveNothing = options.blLeaveNothing;
  for (const std::string& strText : options.vecEnvironment) {
    request.vecEnvironment.push_back(Host::parseVariable(strText));
  }
  return request;
}

/// What scripts have left behind belongs to the service, and keeps it, however the execution went.
int executeAsService(const Context& context, const Host::ExecutionRequest& request, ExecuteView view) {
  Host::ServiceProcess service;
  view.pService = &service;
  try {
    const int iResult = execute(context, request, view);
    std::fflush(nullptr);
    service.waitForRest();
    return iResult;
  } catch (const std::exception&) {
    service.waitForRest();
    throw;
  }
}

/// systemd may start a service again when its answer was lost, and late when nobody waits for it any more.
bool mayBegin(const ExecuteOptions& options) {
  if (options.strTicket.empty() || Host::StartTicket::take(options.strTicket)) {
    return true;
  }
  printNote(fmt::format("\"{}\" is not run: it was before, or nobody waits for it any more", options.strName));
  return false;
}

int start(const Context& context, const ExecuteOptions& options, const Host::ExecutionRequest& request) {
  if (options.blDetach) {
    return detach(context, request, options.blJson);
  }
  ExecuteView view;
  view.blJson = options.blJson;
  return options.blService ? executeAsService(context, request, view) : execute(context, request, view);
}

int runFire(const Context& context, const ExecuteOptions& options) {
  if (options.strName.empty()) {
    throw Host::UsageFailure("fire: the name of the event is empty");
  }
  if (!mayBegin(options)) {
    return EXIT_DONE;
  }
  const Host::ExecutionRequest request = requestOf(options, true);
  {
    Host::Session session;
    Host::requireEvent(Host::listTasks(session), options.strName);
  }
  return start(context, options, request);
}

int runRun(const Context& context, const ExecuteOptions& options) {
  if (!mayBegin(options)) {
    return EXIT_DONE;
  }
  const Host::ExecutionRequest request = requestOf(options, false);
  {
    Host::Session session;
    Host::requireTask(session, options.strName);
    if (options.blDetach) {
      // In the background nobody would hear of it.
      refuseSecondRun(session, options.strName);
    }
  }
  return start(context, options, request);
}

void addCommonOptions(CLI::App* pCommand, ExecuteOptions& options) {
  pCommand
      ->add_option("--env", options.vecEnvironment,
                   "tell the scripts something, as a variable of their environment; may be given several times")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  pCommand->add_flag("--detach", options.blDetach, "do not wait: run it in the background, under systemd as a service");
  pCommand->add_option("--budget", options.iBudget, "end whatever still runs after so many seconds")
      ->type_name("SECONDS")
      ->check(wholeNumber(1, 366 * 86400, " of seconds"));
  pCommand->add_flag("--leave-nothing", options.blLeaveNothing,
                     "when the last task has ended, end what scripts have left in the background");
  // For the service that --detach starts: the event has happened before that.
  pCommand->add_option("--fired-at", options.iFiredAt)->group("");
  pCommand->add_option("--ticket", options.strTicket)->group("");
  pCommand->add_flag("--as-service", options.blService)->group("");
}

}  // namespace

void addExecuteCommands(CLI::App& app, Context& context) {
  auto pFire = std::make_shared<ExecuteOptions>();
  CLI::App* pCommand = addCommand(app, "fire", "Run the tasks of an event, and wait until the last one has ended.",
                                  "  eorva fire bootup            ends with 3 when some task did not end with 0\n"
                                  "  eorva fire bootup --json     nothing while it runs, then all of it\n"
                                  "  eorva fire disk_attached --env EORVA_DISK=/dev/sdb --detach\n"
                                  "  eorva fire shutdown --budget 300 --leave-nothing\n");
  pCommand->add_option("event", pFire->strName, "the event")->required()->type_name("EVENT");
  addCommonOptions(pCommand, *pFire);
  pCommand->add_flag("--json", pFire->blJson,
                     "as JSON: the runs, when all have ended; with --detach, what was started");
  onCommand(pCommand, context, pFire, &runFire);

  auto pRun = std::make_shared<ExecuteOptions>();
  pCommand =
      addCommand(app, "run", "Run one task now, and wait until it has ended; tasks that wait for it do not start.",
                 "  eorva run disk-usage\n"
                 "  eorva run disk-usage --detach\n");
  pCommand->add_option("task", pRun->strName, "its name")->required()->type_name("TASK");
  addCommonOptions(pCommand, *pRun);
  pCommand->add_flag("--json", pRun->blJson, "as JSON: the run, when it has ended; with --detach, what was started");
  onCommand(pCommand, context, pRun, &runRun);
}
