/// eorva stop

#include <chrono>
#include <fmt/format.h>
#include <limits>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/config/settings.h"
#include "common/runs/stop_run.h"
#include "common/store/records.h"
#include "common/text/json_members.h"

namespace {

struct StopOptions {
  std::vector<Json::Int64> vecRuns;
  std::optional<Json::Int64> grace;
  bool blJson = false;
};

/// Ends a run and waits until it is closed. \return its record.
Json::Value stopOne(Host::Session& session, Json::Int64 iRun, std::chrono::seconds grace) {
  Json::Value jRun = Host::requireRun(session, iRun);
  if (jRun.isMember("stop_time")) {
    printNote(fmt::format("run {} has ended already", iRun));
    return jRun;
  }
  return Host::stopRun(session, jRun, grace);
}

int runStop(const Context&, const StopOptions& options) {
  const Host::OpenStore session;
  for (const Json::Int64 iRun : options.vecRuns) {
    Host::requireRun(session, iRun);
  }
  const auto grace = options.grace ? std::chrono::seconds(*options.grace) : Host::graceSetting();
  std::vector<Json::Value> vecRuns;
  for (const Json::Int64 iRun : options.vecRuns) {
    const Json::Value& jRun = vecRuns.emplace_back(stopOne(session, iRun, grace));
    if (!options.blJson) {
      say("run {} of {}: {}\n", iRun, Host::textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText);
    }
  }
  if (options.blJson) {
    printJson(Host::stoppedForPrograms(vecRuns));
  }
  return EXIT_DONE;
}

}  // namespace

void addStopCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "stop", "End runs with all processes that their scripts started.",
                 "  eorva stop 42                asks run 42 to end; kills it after stop_grace\n"
                 "  eorva stop 42 43 --grace 0   kills two runs at once\n");
  auto pOptions = onCommand(pCommand, context, &runStop);
  pCommand->add_option("run", pOptions->vecRuns, "number of a run; can be repeated")
      ->required()
      ->type_name("RUN")
      ->check(wholeNumber(std::numeric_limits<long long>::min()));
  pCommand->add_option("--grace", pOptions->grace, "kill the run if it has not ended after this time")
      ->type_name("DURATION")
      ->transform(durationWithin(0, 86400));
  pCommand->add_flag("--json", pOptions->blJson, "print the run as JSON; several runs as an array");
}
