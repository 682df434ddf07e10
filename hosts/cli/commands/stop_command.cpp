/// eorva stop

#include <algorithm>
#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/config/settings.h"
#include "common/runs/next_try.h"
#include "common/runs/run_query.h"
#include "common/runs/stop_run.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace {

struct StopOptions {
  std::vector<std::string> vecWords;
  std::vector<std::string> vecTasks;
  std::optional<Json::Int64> grace;
  bool blAll = false;
  bool blJson = false;
};

std::optional<Json::Int64> runNumber(const std::string& strWord) {
  Json::Int64 iRun = 0;
  const char* const pEnd = strWord.data() + strWord.size();
  const auto [p, code] = std::from_chars(strWord.data(), pEnd, iRun);
  return code == std::errc() && p == pEnd ? std::optional(iRun) : std::nullopt;
}

/// Asks whether all open runs of a task are meant.
void confirmAll(const std::string& strTask, const std::vector<Json::Value>& vecRuns) {
  std::vector<std::string> vecTexts;
  std::transform(vecRuns.begin(), vecRuns.end(), std::back_inserter(vecTexts), [](const Json::Value& jRun) {
    return fmt::format("{} (started {})", Host::intOf(jRun, "result_id"), timeText(jRun, "start_time"));
  });
  confirm(fmt::format("{} runs of task \"{}\" are running: {}", vecRuns.size(), strTask, fmt::join(vecTexts, ", ")),
          "Stop all?", "no run was stopped", "to stop all, add --all; to stop one, type its number");
}

void addRunsOf(Host::Session& session, const std::string& strTask, bool blAll, std::vector<Json::Int64>& vecRuns) {
  const std::vector<Json::Value> vecOpen = Host::openRunsOf(session, strTask);
  std::vector<Json::Value> vecMeant = Host::runsTriedAgain(session, Host::nextTries(), strTask);
  if (vecOpen.empty() && vecMeant.empty()) {
    printNote(fmt::format("task \"{}\" is not running", strTask));
  } else if (vecOpen.size() > 1 && !blAll) {
    confirmAll(strTask, vecOpen);
  }
  vecMeant.insert(vecMeant.end(), vecOpen.begin(), vecOpen.end());
  for (const Json::Value& jRun : vecMeant) {
    vecRuns.push_back(Host::intOf(jRun, "result_id"));
  }
}

/// A number is always that of a run.
void addRun(Host::Session& session, Json::Int64 iRun, std::vector<Json::Int64>& vecRuns) {
  const std::string strNumber = std::to_string(iRun);
  if (!Host::hasRun(session, "result_id = " + strNumber) && Host::findTask(session, strNumber).isObject()) {
    throw Host::Failure(fmt::format("there is no run {0}; to stop the task \"{0}\": eorva stop --task {0}", iRun));
  }
  Host::requireRun(session, iRun);
  vecRuns.push_back(iRun);
}

/// All runs that were named, before any of them is stopped.
std::vector<Json::Int64> namedRuns(Host::Session& session, const StopOptions& options) {
  if (options.vecWords.empty() && options.vecTasks.empty()) {
    throw Host::UsageFailure("stop: the number of a run or the name of a task is missing");
  }
  std::vector<Json::Int64> vecRuns;
  for (const std::string& strWord : options.vecWords) {
    const std::optional<Json::Int64> iRun = runNumber(strWord);
    iRun ? addRun(session, *iRun, vecRuns) : addRunsOf(session, strWord, options.blAll, vecRuns);
  }
  for (const std::string& strTask : options.vecTasks) {
    addRunsOf(session, strTask, options.blAll, vecRuns);
  }
  return vecRuns;
}

/// Ends a run and waits until it is closed. The next try of a run that has failed is stopped. \return the run's record.
Json::Value stopOne(Host::Session& session, Json::Int64 iRun, std::chrono::seconds grace) {
  Json::Value jRun = Host::requireRun(session, iRun);
  if (jRun.isMember("stop_time")) {
    printNote(fmt::format("run {} has ended already{}", iRun,
                          Host::stopNextTry(iRun) ? "; its task is not tried again" : ""));
    return jRun;
  }
  return Host::stopRun(session, jRun, grace);
}

int runStop(const Context&, const StopOptions& options) {
  const Host::OpenStore session;
  const std::vector<Json::Int64> vecNamed = namedRuns(session, options);
  const auto grace = options.grace ? std::chrono::seconds(*options.grace) : Host::graceSetting();
  std::vector<Json::Value> vecRuns;
  for (const Json::Int64 iRun : vecNamed) {
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
  CLI::App* pCommand = addCommand(app, "stop", "End runs, with all processes of their scripts.",
                                  "  eorva stop 42                asks run 42 to end; kills it after stop_grace\n"
                                  "  eorva stop report            the run of the task \"report\", or its next try\n"
                                  "  eorva stop report --all      all runs of the task\n"
                                  "  eorva stop 42 43 --grace 0   kills two runs at once\n");
  auto pOptions = onCommand(pCommand, context, &runStop);
  pCommand->add_option("run", pOptions->vecWords, "number of a run, or name of a task; can be repeated")
      ->type_name("RUN|TASK");
  pCommand->add_option("--task", pOptions->vecTasks, "name of a task, also one that is a number; can be repeated")
      ->type_name("TASK")
      ->allow_extra_args(false);
  pCommand->add_flag("--all", pOptions->blAll, "stop all runs of a task without asking");
  pCommand->add_option("--grace", pOptions->grace, "kill the run if it has not ended after this time")
      ->type_name("DURATION")
      ->transform(durationWithin(0, 86400));
  pCommand->add_flag("--json", pOptions->blJson, "print the run as JSON; several runs as an array");
}
