#include "finding_text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <stdexcept>
#include <string_view>

#include "command_text.h"
#include "common/support/paths.h"
#include "common/tasks/task_members.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"
#include "reason_text.h"

namespace Host {

namespace {

struct Words {
  std::string_view strCode;
  const char* szArea;
  std::string_view strText;
  std::string_view strAdvice;                                       ///< each name in it is a word of the shell
  std::string (*fnAdvice)(const HealthFinding& finding) = nullptr;  ///< in place of strAdvice
};

/// The journal of a damaged store must not stay beside the next one.
constexpr std::string_view RESTORE =
    "mkdir {folder}/damaged && mv {database}* {folder}/damaged/ && eorva init && eorva restore FILE      # FILE: a "
    "backup; without one, sqlite3 {folder}/damaged/eorvascheduler.db .recover";

std::string enableEvent(const HealthFinding& finding) {
  return eorvaCommand("event enable", {finding.strSubject});
}

std::string fireEvent(const HealthFinding& finding) {
  return eorvaCommand("fire", {finding.strSubject});
}

std::string setOutput(const HealthFinding& finding) {
  const std::string strShare = textOf(finding.jDetails, "share");
  return strShare.empty() ? "eorva share list" : eorvaCommand("config set", {}, optionText("--output-path", strShare));
}

/// The command that changes a member of a task.
std::string changeTask(const HealthFinding& finding) {
  static constexpr std::array<std::pair<std::string_view, const char*>, 8> OPTIONS = {
      {{"event", " --event EVENT"},
       {"owner", " --owner USER"},
       {"notify_mail", " --mail ADDRESS"},
       {"time_limit", " --time-limit 0"},
       {"directory", " --directory FOLDER"},
       {"description", " --description ''"},
       {"operation_type", " --record - <<< '{\"operation_type\": \"script\"}'"},
       {"operation", ""}}};
  if (finding.jDetails.isMember("name")) {
    return eorvaCommand("task rename", {finding.strSubject, textOf(finding.jDetails, "name")});
  }
  if (finding.jDetails.isMember("needs")) {
    return waitsForCommand(finding.strSubject, textsOf(finding.jDetails, "needs"));
  }
  const std::string strMember = textOf(finding.jDetails, "member");
  const auto it =
      std::find_if(OPTIONS.begin(), OPTIONS.end(), [&](const auto& option) { return option.first == strMember; });
  return eorvaCommand("task edit", {finding.strSubject}, it == OPTIONS.end() ? " --record FILE" : it->second);
}

std::string breakCircle(const HealthFinding& finding) {
  if (finding.jDetails.isMember("needs")) {
    return waitsForCommand(finding.strSubject, textsOf(finding.jDetails, "needs"));
  }
  const std::string strEvent = textOf(finding.jDetails, "event");
  return strEvent.empty() ? "eorva task list" : eorvaCommand("task graph", {strEvent});
}

std::string startTask(const HealthFinding& finding) {
  return reasonAdvice(finding.strSubject, reasonOf(finding.jDetails));
}

constexpr auto WORDS = std::to_array<Words>({
    {"store_missing", "store", "{problem}", "eorva init"},
    {"store_out_of_reach", "store", "{problem}", "ls -ld {folder} {database}"},
    {"store_full", "store", "{problem}", "df -h {folder}"},
    {"store_unreadable", "store", "{problem}", RESTORE},
    {"store_empty", "store", "{problem}", RESTORE},
    {"store_unusable", "store", "{problem}", "journalctl -t eorva -n 20"},
    {"store_damaged", "store", "the store {subject} is damaged: {problem}", RESTORE},
    {"store_owner", "store", "{subject} belongs to user {user}, not to root", "chown root {subject}"},
    {"store_mode", "store", "{subject} may be changed by others (mode {mode})", "chmod go-w {subject}"},
    {"configuration_file", "configuration", "{problem}", "mv {subject} {subject}.bad && eorva init"},
    {"setting", "configuration", "{problem}", "eorva config set --help"},
    {"ignored_setting", "configuration", "{problem}", "editor {subject}"},
    {"shares", "shares", "{problem}", "eorva share list"},
    {"shared_script", "output", "no output is kept: a script of one owner can be run with the rights of another", "",
     &setOutput},
    {"no_output", "output", "no output of runs is kept", "", &setOutput},
    {"output_place", "output", "{problem}", "", &setOutput},
    {"output_full", "output", "{problem}", "df -h {subject}"},
    {"output_room", "output",
     "owners can write only {room} more to {subject}; when it is full, no task starts, and running tasks lose output",
     "df -h {subject}"},
    {"script_folder", "output", "{problem}", "mount -o remount,exec \"$(findmnt -no TARGET -T {subject})\""},
    {"unfinished_rename", "output",
     "output of \"{subject}\" is in {path}, which belongs to no task: a rename was interrupted",
     "eorva check --repair"},
    {"blocked_rename", "output",
     "output of \"{subject}\" is in {path}, which belongs to no task: a rename was interrupted",
     "mv --no-clobber {path}/* {place}/{subject}/"},
    {"not_removed", "output", "{problem}", "eorva runs prune"},
    {"renames_unknown", "output", "{problem}", "eorva check"},
    {"mail_program", "mail", "the mail program {subject} cannot be run; {tasks} {want} to send mail",
     "editor {mail_settings}"},
    {"no_mail_program", "mail", "the mail program {subject} cannot be run; {tasks} {want} to send mail",
     "apt-get install default-mta"},
    {"event_without_unit", "events", "the event \"{subject}\" has tasks, but no installed unit fires it",
     "eorva event list"},
    {"event_not_installed", "events", "the event \"{subject}\" has tasks, but no installed unit fires it", "",
     &fireEvent},
    {"event_failed", "events", "{unit}, which fires the event \"{subject}\", has failed", "systemctl status {unit}"},
    {"event_disabled", "events", "the event \"{subject}\" is not enabled ({unit}), but has tasks", "", &enableEvent},
    {"own_event_disabled", "events", "the event \"{subject}\" is not enabled ({unit}), but has tasks",
     "systemctl enable {unit}"},
    {"own_events_file", "events", "{problem}", "mv {subject} {subject}.bad && eorva check --repair"},
    {"event_timer", "events", "the timer of the event \"{subject}\" {problem} ({unit})", "eorva check --repair"},
    {"foreign_event_timer", "events", "the timer of the event \"{subject}\" is not there: {unit} {problem}",
     "systemctl cat {unit}"},
    {"usual_event_disabled", "events",
     "the event \"{subject}\" is not enabled ({unit}), but normally is; it has no tasks yet", "", &enableEvent},
    {"events_unknown", "events", "{problem}", "eorva event list"},
    {"timer_not_installed", "units", "{subject} is not installed: {without}", "systemctl enable --now {subject}"},
    {"timer_disabled", "units", "{subject} is not enabled: {without}", "systemctl enable --now {subject}"},
    {"timer_failed", "units", "{subject} has failed: {without}", "systemctl status {subject}"},
    {"timers_unknown", "units", "{problem}", "systemctl list-timers --all 'eorva-*'"},
    {"no_control_groups", "runs",
     "without control groups of version 2, a process that leaves the session of its run is not ended",
     "mkdir -p /run/cgroup2 && mount -t cgroup2 cgroup2 /run/cgroup2"},
    {"no_memory_limit", "runs",
     "the memory limit of \"{subject}\" has no effect: control groups of version 2 have no memory controller here",
     "eorva task edit {subject} --memory-limit 0"},
    {"run_without_process", "runs", "run {subject} of \"{task}\" is recorded as running, but its process has ended",
     "eorva check --repair"},
    {"never_started", "tasks", "task \"{subject}\" is never started: it {reason}", "", &startTask},
    {"task_member", "tasks", "task \"{subject}\": {member}: {problem}", "", &changeTask},
    {"endless_walk", "tasks", "{problem}", "", &breakCircle},
});

const Words& wordsOf(const HealthFinding& finding) {
  const auto it =
      std::find_if(WORDS.begin(), WORDS.end(), [&](const Words& words) { return words.strCode == finding.strCode; });
  if (it == WORDS.end()) {
    throw std::logic_error(fmt::format("no words for the finding {}", finding.strCode));
  }
  return *it;
}

/// All values that the texts may name.
Json::Value membersOf(const HealthFinding& finding) {
  Json::Value jMembers = finding.jDetails;
  jMembers["subject"] = finding.strSubject;
  jMembers["member"] = memberWord(textOf(finding.jDetails, "member"));
  jMembers["folder"] = STORE_FOLDER;
  jMembers["database"] = DATABASE_PATH;
  jMembers["mail_settings"] = SERVER_SETTINGS_PATH;
  jMembers["mode"] = fmt::format("{:04o}", intOf(finding.jDetails, "mode"));
  const Json::Int64 cTasks = intOf(finding.jDetails, "tasks");
  jMembers["tasks"] = countText(static_cast<std::size_t>(cTasks), "task");
  jMembers["want"] = cTasks == 1 ? "wants" : "want";
  jMembers["without"] = finding.strSubject == PRUNE_TIMER ? "old runs and their output are not removed"
                                                          : "mail that could not be sent is not sent again";
  jMembers["reason"] = finding.strCode == "never_started" ? reasonText(reasonOf(finding.jDetails)) : std::string();
  return jMembers;
}

}  // namespace

std::string findingText(const HealthFinding& finding) {
  return filledIn(wordsOf(finding).strText, membersOf(finding));
}

std::string findingAdvice(const HealthFinding& finding) {
  const Words& words = wordsOf(finding);
  return words.fnAdvice != nullptr ? words.fnAdvice(finding) : filledInCommand(words.strAdvice, membersOf(finding));
}

const char* findingArea(const HealthFinding& finding) {
  return wordsOf(finding).szArea;
}

const char* severityWord(HealthFinding::Severity severity) {
  return severity == HealthFinding::Severity::PROBLEM ? "problem" : "warning";
}

}  // namespace Host
