#include "task_options.h"

#include <fmt/format.h>
#include <limits>

#include "cli/terminal/present.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_members.h"
#include "common/tasks/task_request.h"
#include "input.h"
#include "usage.h"

namespace {

/// Members of a record that was handed over, in place of those that are there.
void setFromRecord(const std::string& strFile, Json::Value& jTask) {
  const Json::Value jRecord = readRecord(strFile);
  if (!jRecord.isObject()) {
    throw Host::Failure(fmt::format("{} must be an object", strFile));
  }
  Host::setMembers(jTask, jRecord);
  Host::takeScriptBytes(jTask);
}

void setSwitch(Json::Value& jTask, const char* szMember, bool blOn, bool blOff) {
  if (blOn || blOff) {
    jTask[szMember] = blOn;
  }
}

void addEventAndOwner(CLI::App* pCommand, TaskOptions& options) {
  pCommand->add_option("--event", options.strEvent, "event that starts it")->type_name("EVENT");
  pCommand->add_flag("--any-event", options.blAnyEvent, "take an event that is not in the catalogue too");
  pCommand->add_option("--owner", options.strOwner, "user, by name or id, whose rights it runs with")
      ->type_name("USER");
  pCommand->add_option("--script", options.strScript, "the script; - reads standard input")->type_name("FILE");
  CLI::Option* pAfter =
      pCommand->add_option("--after", options.vecAfter, "task that must have ended first; may be repeated")
          ->type_name("TASK")
          ->expected(1)
          ->take_all()
          ->allow_extra_args(false);
  pCommand->add_flag("--no-after", options.blNoAfter, "let it wait for no task")->excludes(pAfter);
}

void addSwitches(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pOn = pCommand->add_flag("--enabled", options.blEnabled, "let its event start it (the usual)");
  pCommand->add_flag("--disabled", options.blDisabled, "do not let its event start it")->excludes(pOn);
  pOn = pCommand->add_flag("--parallel", options.blParallel, "let a run start while another one goes on");
  pCommand->add_flag("--no-parallel", options.blNoParallel, "one run at a time (the usual)")->excludes(pOn);
  pCommand->add_option("--time-limit", options.iTimeLimit, "end a run after this time; 0 for no limit (the usual)")
      ->type_name("SECONDS")
      ->check(wholeNumber(std::numeric_limits<long long>::min(), 0, " of seconds"));
  pCommand->add_option("--description", options.strDescription, "what it is for, in a line")->type_name("TEXT");
}

void addMail(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pOn = pCommand->add_option("--mail", options.strMail, "tell these addresses when a run has ended")
                         ->type_name("ADDRESS,...");
  pCommand->add_flag("--no-mail", options.blNoMail, "send no mail (the usual)")->excludes(pOn);
  pOn = pCommand->add_flag("--mail-if-error", options.blMailIfError, "only when it did not end with 0");
  pCommand->add_flag("--mail-always", options.blMailAlways, "however it ended (the usual)")->excludes(pOn);
}

}  // namespace

CLI::Option* addTaskOptions(CLI::App* pCommand, TaskOptions& options) {
  CLI::Option* pRecord =
      pCommand->add_option("--record", options.strRecord, "members as a JSON object; - reads standard input")
          ->type_name("FILE");
  addEventAndOwner(pCommand, options);
  addSwitches(pCommand, options);
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
         options.strMail || options.strDescription || options.iTimeLimit || !options.vecAfter.empty() ||
         options.blNoAfter || options.blEnabled || options.blDisabled || options.blParallel || options.blNoParallel ||
         options.blNoMail || options.blMailIfError || options.blMailAlways;
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
  if (!options.vecAfter.empty() || options.blNoAfter) {
    jTask["depend_on_task"] = Host::writeDependencyList(options.vecAfter);
  }
  if (options.iTimeLimit) {
    jTask["time_limit"] = *options.iTimeLimit;
  }
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
    printNote(fmt::format("warning: task \"{}\": {}: {}", strTask, warning.strMember, warning.strReason));
  }
}
