/// eorva task edit|enable|disable

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

#include "cli/task_options.h"
#include "cli/terminal/editor.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/event_answers.h"
#include "common/output/output_place.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/tasks/change_task.h"
#include "common/tasks/task_members.h"
#include "common/text/json_members.h"

namespace {

struct EditOptions {
  std::string strTask;
  TaskOptions task;
};

struct SwitchOptions {
  std::vector<std::string> vecTasks;
};

bool contains(const std::vector<std::string>& vecMembers, const char* szMember) {
  return std::find(vecMembers.begin(), vecMembers.end(), szMember) != vecMembers.end();
}

void sayChanged(const std::string& strTask, const Host::TaskChanged& changed) {
  const std::vector<std::string>& vecMembers = changed.vecMembers;
  printWarnings(strTask, changed.vecWarnings);
  if (vecMembers.empty()) {
    say("{} is unchanged\n", strTask);
    return;
  }
  say("changed {} ({})\n", strTask, fmt::format("{}", fmt::join(Host::memberWords(vecMembers), ", ")));
  if (contains(vecMembers, "owner")) {
    printNote(fmt::format("at the next run of \"{0}\", earlier output moves to {0}~1", strTask));
  }
}

/// The task's name, if it can be a file name: other programs may have stored any name.
std::string fileName(const std::string& strTask) {
  return Host::OutputPlace::isFolderName(strTask) ? strTask : "script";
}

int editScript(const EditOptions& options) {
  const std::string strBefore = Host::textOf(Host::requireTask(options.strTask), "operation");
  const Edit edit(fileName(options.strTask), strBefore);
  try {
    const std::string strAfter = edit.run();
    Json::Value jChanges(Json::objectValue);
    jChanges["operation"] = strAfter;
    sayChanged(options.strTask, strAfter == strBefore
                                    ? Host::TaskChanged()
                                    : Host::changeTask(options.strTask, jChanges, options.task.events(), strBefore));
  } catch (const Host::Failure& error) {
    throw Host::Failure(
        fmt::format("{}\nthe task is unchanged. To use the edited script later:\n"
                    "  eorva task edit '{}' --script '{}'",
                    error.what(), options.strTask, edit.path()));
  }
  edit.drop();
  return EXIT_DONE;
}

int runEdit(const Context&, const EditOptions& options) {
  if (!setsMember(options.task)) {
    return editScript(options);
  }
  Json::Value jChanges(Json::objectValue);
  setMembers(options.task, jChanges);
  const Host::TaskChanged changed = Host::changeTask(options.strTask, jChanges, options.task.events());
  sayChanged(options.strTask, changed);
  if (contains(changed.vecMembers, "event")) {
    printNote(Host::disabledEventNote(Host::textOf(jChanges, "event")));
  }
  return EXIT_DONE;
}

int runSwitch(const SwitchOptions& options, bool blEnable) {
  for (const std::string& strTask : options.vecTasks) {
    Host::requireTask(strTask);
  }
  Json::Value jChanges(Json::objectValue);
  jChanges["enable"] = blEnable;
  const char* szDone = blEnable ? "enabled" : "disabled";
  for (const std::string& strTask : options.vecTasks) {
    const Host::TaskChanged changed = Host::changeTask(strTask, jChanges, Host::AllowedEvents::ANY);
    printWarnings(strTask, changed.vecWarnings);
    const bool blChanged = !changed.vecMembers.empty();
    say("{} {}{}\n", szDone, strTask, blChanged ? "" : fmt::format(" (was already {})", szDone));
  }
  return EXIT_DONE;
}

int runEnable(const Context&, const SwitchOptions& options) {
  return runSwitch(options, true);
}
int runDisable(const Context&, const SwitchOptions& options) {
  return runSwitch(options, false);
}

void addSwitchCommand(CLI::App& task, Context& context, const char* szName, const char* szDescription,
                      int (*fnRun)(const Context&, const SwitchOptions&)) {
  CLI::App* pCommand = addCommand(task, szName, szDescription, fmt::format("  eorva task {} disk-usage\n", szName));
  auto pOptions = onCommand(pCommand, context, fnRun);
  pCommand->add_option("task", pOptions->vecTasks, "one or more tasks")->required()->type_name("TASK");
}

}  // namespace

void addTaskEditCommands(CLI::App& task, Context& context) {
  CLI::App* pCommand =
      addCommand(task, "edit", "Change a task; without options, edit its script in $VISUAL or $EDITOR.",
                 "  eorva task edit disk-usage\n"
                 "  eorva task edit disk-usage --script - < new.sh\n"
                 "  eorva task edit report --after disk-usage --after cleanup      replaces the list\n"
                 "  eorva task edit report --mail root --mail-if-error --time-limit 3600\n");
  auto pOptions = onCommand(pCommand, context, &runEdit);
  pCommand->add_option("task", pOptions->strTask, "task to change")->required()->type_name("TASK");
  addTaskOptions(pCommand, pOptions->task);

  addSwitchCommand(task, context, "enable", "Enable tasks: events start them.", &runEnable);
  addSwitchCommand(task, context, "disable", "Disable tasks: events do not start them.", &runDisable);
}
