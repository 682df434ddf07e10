#include "task_options.h"

#include <fmt/format.h>
#include <limits>

#include "cli/terminal/present.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_members.h"
#include "common/tasks/task_request.h"
#include "common/text/number_spec.h"
#include "help_format.h"
#include "input.h"
#include "usage.h"

namespace {

/// Sets the members of a record in a file.
void setFromRecord(const std::string& strFile, Json::Value& jTask) {
  const Json::Value jRecord = readRecord(strFile);
  if (!jRecord.isObject()) {
    throw Host::Failure(fmt::format("{} must be an object", strFile));
  }
  Host::setMembers(jTask, jRecord);
  Host::takeScriptBytes(jTask);
}

/// \return null for the limit of the settings.
Json::Value outputLimitFrom(const std::string& strTyped) {
  if (strTyped == "default") {
    return {};
  }
  const std::optional<std::uint64_t> cb = Host::sizeFrom(strTyped);
  if (!cb) {
    throw Host::UsageFailure(fmt::format(
        "--output-limit: \"{}\" is no size: give a number of bytes, as in 500M or 10G, 0 for no limit, or default",
        strTyped));
  }
  return static_cast<Json::Int64>(*cb);
}

void setSwitch(Json::Value& jTask, const char* szMember, bool blOn, bool blOff) {
  if (blOn || blOff) {
    jTask[szMember] = blOn;
  }
}

void addEventAndOwner(CLI::App* pCommand, TaskOptions& options) {
  pCommand->add_option("--event", options.strEvent, "event that starts the task")->type_name("EVENT");
  pCommand->add_flag("--any-event", options.blAnyEvent, "allow an unknown event");
  pCommand->add_option("--owner", options.strOwner, "user who runs the script; a name or user id")->type_name("USER");
  pCommand->add_option("--script", options.strScript, "script; - is standard input")->type_name("FILE");
  CLI::Option* pAfter =
      pCommand->add_option("--after", options.vecWaitsFor, "task to wait for; can be repeated; or --no-after")
          ->type_name("TASK")
          ->expected(1)
          ->take_all()
          ->allow_extra_args(false);
  foldAway(pCommand->add_flag("--no-after", options.blNoAfter, "remove all dependencies")->excludes(pAfter));
}

void addSwitches(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pOn =
      pCommand->add_flag("--enabled", options.blEnabled, "the event starts the task (default); or --disabled");
  foldAway(pCommand->add_flag("--disabled", options.blDisabled, "the event does not start the task")->excludes(pOn));
  pOn = pCommand->add_flag("--parallel", options.blParallel, "allow parallel runs; or --no-parallel (default)");
  foldAway(pCommand->add_flag("--no-parallel", options.blNoParallel, "one run at a time (default)")->excludes(pOn));
  pCommand->add_option("--time-limit", options.iTimeLimit, "end a run after this time, as in 1h; 0: no limit")
      ->type_name("DURATION")
      ->transform(durationWithin(0, std::numeric_limits<long long>::max()));
  pCommand->add_option("--output-limit", options.strOutputLimit, "cut output at this size: 500M, 0 (none) or default")
      ->type_name("SIZE");
  pCommand->add_option("--description", options.strDescription, "one line that describes the task")->type_name("TEXT");
}

void addMail(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pOn =
      pCommand->add_option("--mail", options.strMail, "send mail when a run ends; or --no-mail (default)")
          ->type_name("ADDRESS,...");
  foldAway(pCommand->add_flag("--no-mail", options.blNoMail, "send no mail (default)")->excludes(pOn));
  pOn = pCommand->add_flag("--mail-if-error", options.blMailIfError, "only when it failed; or --mail-always (default)");
  foldAway(
      pCommand->add_flag("--mail-always", options.blMailAlways, "send mail after every run (default)")->excludes(pOn));
}

}  // namespace

CLI::Option* addTaskOptions(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pRecord =
      pCommand->add_option("--record", options.strRecord, "a complete record as JSON; - is standard input")
          ->type_name("FILE");
  addEventAndOwner(pCommand, options);
  addSwitches(pCommand, options);
  addLaunchOptions(pCommand, options.launch);
  addMail(pCommand, options);
  for (CLI::Option* pOption : pCommand->get_options()) {
    const std::vector<std::string>& vecNames = pOption->get_lnames();
    const bool blMember = !vecNames.empty() && vecNames.front() != "any-event" && vecNames.front() != "help";
    if (blMember && pOption != pRecord) {
      pOption->excludes(pRecord);
    }
  }
  return pRecord;
}

bool setsMember(const TaskOptions& options) {
  return !options.strRecord.empty() || !options.strScript.empty() || options.strEvent || options.strOwner ||
         options.strMail || options.strDescription || options.iTimeLimit || options.strOutputLimit ||
         !options.vecWaitsFor.empty() || options.blNoAfter || options.blEnabled || options.blDisabled ||
         options.blParallel || options.blNoParallel || options.blNoMail || options.blMailIfError ||
         options.blMailAlways || options.launch.areSet();
}

void setMembers(const TaskOptions& options, Json::Value& jTask) {
  if (!options.strRecord.empty()) {
    setFromRecord(options.strRecord, jTask);
    return;
  }
  const std::pair<const char*, const std::optional<std::string>&> texts[] = {{"event", options.strEvent},
                                                                             {"description", options.strDescription}};
  for (const auto& [szMember, strValue] : texts) {
    if (strValue) {
      jTask[szMember] = *strValue;
    }
  }
  if (options.strOwner) {
    jTask["owner"] = Host::ownerFrom(*options.strOwner);
  }
  if (!options.strScript.empty()) {
    jTask["operation"] = readInput(options.strScript);
  }
  if (!options.vecWaitsFor.empty() || options.blNoAfter) {
    jTask["depend_on_task"] = Host::writeDependencyList(options.vecWaitsFor);
  }
  if (options.iTimeLimit) {
    jTask["time_limit"] = *options.iTimeLimit;
  }
  if (options.strOutputLimit) {
    jTask["output_limit"] = outputLimitFrom(*options.strOutputLimit);
  }
  options.launch.setMembers(jTask);
  if (options.strMail) {
    jTask["notify_mail"] = Host::withoutBlanks(*options.strMail);
  }
  setSwitch(jTask, "enable", options.blEnabled, options.blDisabled);
  setSwitch(jTask, "run_the_same_time", options.blParallel, options.blNoParallel);
  setSwitch(jTask, "notify_enable", options.strMail.has_value(), options.blNoMail);
  setSwitch(jTask, "notify_if_error", options.blMailIfError, options.blMailAlways);
}

void printWarnings(const std::string& strTask, const std::vector<Host::Finding>& vecWarnings) {
  for (const Host::Finding& warning : vecWarnings) {
    printNote(fmt::format("warning: task \"{}\": {}", strTask, warning.text()));
  }
}
