/// eorva runs show, and functions for the other subcommands of "runs"

#include "runs_commands.h"

#include <fmt/format.h>

#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/runs/next_try.h"
#include "common/runs/reconcile.h"
#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

using Host::intOf;
using Host::textOf;

namespace {

struct ShowOptions {
  std::string strRun;
  bool blJson = false;
};

std::string cpuText(const Json::Value& jRun) {
  return jRun["cpu_usec"].isInt64() ? Host::cpuTimeText(intOf(jRun, "cpu_usec")) : "-";
}

/// A number of bytes; "-" when it is not known.
std::string bytesText(const Json::Value& jRun, const char* szKey) {
  return jRun[szKey].isInt64() ? Host::sizeText(static_cast<std::uint64_t>(intOf(jRun, szKey))) : "-";
}

std::string ioText(const Json::Value& jRun) {
  return jRun["io_read"].isInt64()
             ? fmt::format("{} read, {} written", bytesText(jRun, "io_read"), bytesText(jRun, "io_written"))
             : "-";
}

std::string cutText(const Json::Value& jShown) {
  const auto cbWritten = static_cast<std::uint64_t>(intOf(jShown, "output_cut"));
  return cbWritten == 0 ? "-" : fmt::format("at the limit; the run wrote {}", Host::sizeText(cbWritten));
}

std::string tryText(const Json::Value& jRun) {
  const Json::Int64 iAttempt = intOf(jRun, "attempt", 1);
  return iAttempt == 1 ? "1" : fmt::format("{}, after run {} failed", iAttempt, intOf(jRun, "retry_of"));
}

int runShow(const Context&, const ShowOptions& options) {
  const Host::OpenStore session;
  closeInterruptedRuns(session);
  const Json::Value jRun = Host::namedRun(session, options.strRun);
  const std::optional<Host::TryNotes> next = Host::nextTryAfter(Host::nextTries(), jRun);
  Json::Value jShown = Host::runForPrograms(jRun);
  jShown["next_try"] = Host::nextTryForPrograms(next);
  if (options.blJson) {
    printJson(jShown);
    return EXIT_DONE;
  }
  printFields({{"run", std::to_string(intOf(jRun, "result_id"))},
               {"task", textOf(jRun, "task_name")},
               {"owner", textOf(jShown, "owner_name")},
               {"trigger", textOf(jRun, "trigger_event")},
               {"try", tryText(jRun)},
               {"fired", timeText(jRun, "event_fire_time")},
               {"start", timeText(jRun, "start_time")},
               {"stop", timeText(jRun, "stop_time")},
               {"time", jShown["duration"].isNull() ? "-" : Host::elapsedText(intOf(jShown, "duration"))},
               {"CPU time", cpuText(jRun)},
               {"peak memory", bytesText(jRun, "memory_peak")},
               {"disk I/O", ioText(jRun)},
               {"output cut", cutText(jShown)},
               {"process", std::to_string(intOf(jRun, "pid"))},
               {"how it ended", Host::outcomeOf(jRun).strExplanation},
               {"next try", next ? Host::nextTryText(next) : "-"}});
  return EXIT_DONE;
}

}  // namespace

CLI::Option* addRunOption(CLI::App* pCommand, Json::Int64& iRun, const char* szName) {
  return pCommand->add_option(szName, iRun, "its number")->required()->type_name("RUN")->check(wholeNumber(1));
}

CLI::Option* addNamedRun(CLI::App* pCommand, std::string& strRun) {
  return pCommand->add_option("run", strRun, "its number, or a task for its newest run")
      ->required()
      ->type_name("TASK|RUN");
}

void closeInterruptedRuns(Host::Session& session) {
  try {
    Host::reconcile(session);
  } catch (const Host::Failure& error) {
    // Runs can be shown although the store cannot be written.
    printNote(fmt::format("warning: interrupted runs may be shown as running: {}", error.what()));
  }
}

void addRunsCommands(CLI::App& app, Context& context) {
  CLI::App* pRuns = addCommand(app, "runs", "List runs, show their output, remove old ones.",
                               "  eorva runs list --task disk-usage\n"
                               "  eorva runs output 12\n");
  pRuns->require_subcommand(1);
  addRunsListCommand(*pRuns, context);

  CLI::App* pCommand = addCommand(*pRuns, "show", "Show one run.",
                                  "  eorva runs show 12\n"
                                  "  eorva runs show disk-usage     its newest run\n");
  auto pShow = onCommand(pCommand, context, &runShow);
  addNamedRun(pCommand, pShow->strRun);
  pCommand->add_flag("--json", pShow->blJson, "print JSON");

  addRunsOutputCommands(*pRuns, context);
  addRunsDiffCommand(*pRuns, context);
  addRunsPruneCommand(*pRuns, context);
}
