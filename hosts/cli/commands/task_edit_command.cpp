/// eorva task edit|enable|disable

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

#include "cli/task_options.h"
#include "cli/terminal/editor.h"
#include "cli/terminal/present.h"
#include "common/answers/event_answers.h"
#include "common/output/output_folder.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/change_task.h"
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
    fmt::print("nothing is different: {} stays as it is\n", strTask);
    return;
  }
  fmt::print("changed {} ({})\n", strTask, fmt::join(vecMembers, ", "));
  if (contains(vecMembers, "owner")) {
    printNote(fmt::format(
        "the next run of \"{}\" belongs to another user: the output of earlier ones is put aside then", strTask));
  }
}

/// The name in a file's name; names that were not made here may hold anything.
std::string fileName(const std::string& strTask) {
  return Host::OutputFolder::isFolderName(strTask) ? strTask : "script";
}

int editScript(const EditOptions& options) {
  const std::string strBefore = [&] {
    Host::Session session;
    return Host::textOf(Host::requireTask(session, options.strTask), "operation");
  }();
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
        fmt::format("{}\nthe task stays as it is, and the edit is kept; when the reason is gone:\n"
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
  {
    Host::Session session;
    for (const std::string& strTask : options.vecTasks) {
      Host::requireTask(session, strTask);
    }
  }
  Json::Value jChanges(Json::objectValue);
  jChanges["enable"] = blEnable;
  const char* szDone = blEnable ? "enabled" : "disabled";
  for (const std::string& strTask : options.vecTasks) {
    const Host::TaskChanged changed = Host::changeTask(strTask, jChanges, Host::AllowedEvents::ANY);
    printWarnings(strTask, changed.vecWarnings);
    const bool blChanged = !changed.vecMembers.empty();
    fmt::print("{} {}{}\n", szDone, strTask, blChanged ? "" : " (it was before)");
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
  auto pOptions = std::make_shared<SwitchOptions>();
  CLI::App* pCommand = addCommand(task, szName, szDescription, fmt::format("  eorva task {} disk-usage\n", szName));
  pCommand->add_option("task", pOptions->vecTasks, "its name; several may be given")->required()->type_name("TASK");
  onCommand(pCommand, context, pOptions, fnRun);
}

}  // namespace

void addTaskEditCommands(CLI::App& task, Context& context) {
  auto pOptions = std::make_shared<EditOptions>();
  CLI::App* pCommand =
      addCommand(task, "edit", "Change a task; without options, its script in an editor ($VISUAL, $EDITOR).",
                 "  eorva task edit disk-usage\n"
                 "  eorva task edit disk-usage --script - < new.sh\n"
                 "  eorva task edit report --after disk-usage --after cleanup      the whole list, anew\n"
                 "  eorva task edit report --mail root --mail-if-error --time-limit 3600\n");
  pCommand->add_option("task", pOptions->strTask, "its name")->required()->type_name("TASK");
  addTaskOptions(pCommand, pOptions->task);
  onCommand(pCommand, context, pOptions, &runEdit);

  addSwitchCommand(task, context, "enable", "Let events start tasks.", &runEnable);
  addSwitchCommand(task, context, "disable", "Keep events from starting tasks.", &runDisable);
}
