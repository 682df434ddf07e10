/// eorva task rename|delete

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/tasks/rename_task.h"

namespace {

struct DeleteOptions {
  std::vector<std::string> vecTasks;
  bool blYes = false;
};

struct RenameOptions {
  std::string strTask;
  std::string strNew;
  bool blYes = false;
};

/// Empty when no task waits for it.
std::string dependantsText(const std::vector<std::string>& vecDependants) {
  return vecDependants.empty() ? ""
                               : fmt::format("these tasks no longer wait for it: {}", fmt::join(vecDependants, ", "));
}

void confirmDelete(const std::string& strTask, const std::string& strDependants) {
  confirm(fmt::format("deleting \"{}\" also deletes its run records{}{}", strTask, strDependants.empty() ? "" : "; ",
                      strDependants),
          "Delete it?", fmt::format("the task \"{}\" is not deleted", strTask));
}

void confirmRename(const RenameOptions& options, const std::vector<std::string>& vecDependants) {
  confirm(fmt::format("renaming \"{}\" also renames it in its run records and moves its output{}", options.strTask,
                      vecDependants.empty() ? ""
                                            : fmt::format("; these tasks then wait for \"{}\": {}", options.strNew,
                                                          fmt::join(vecDependants, ", "))),
          "Rename it?", fmt::format("the task \"{}\" is not renamed", options.strTask));
}

int runDelete(const Context&, const DeleteOptions& options) {
  // All tasks can be deleted, before one is.
  for (const std::string& strTask : options.vecTasks) {
    const std::string strDependants = dependantsText(Host::checkDelete(strTask));
    if (!options.blYes) {
      confirmDelete(strTask, strDependants);
    }
  }
  for (const std::string& strTask : options.vecTasks) {
    const std::string strDependants = dependantsText(Host::checkDelete(strTask));
    const std::string strOutput = Host::deleteTask(strTask);
    say("deleted {}\n", strTask);
    printNote(options.blYes ? strDependants : "");
    printNote(strOutput.empty() ? "" : "its output " + strOutput);
  }
  return EXIT_DONE;
}

int runRename(const Context&, const RenameOptions& options) {
  if (!options.blYes) {
    confirmRename(options, Host::checkRename(options.strTask, options.strNew));
  }
  Host::renameTask(options.strTask, options.strNew);
  say("renamed {} to {}\n", options.strTask, options.strNew);
  return EXIT_DONE;
}

}  // namespace

void addTaskRenameCommands(CLI::App& task, Context& context) {
  CLI::App* pCommand = addCommand(task, "rename", "Rename a task, also in other tasks, its run records and its output.",
                                  "  eorva task rename disk-usage disk-report --yes\n");
  auto pRename = onCommand(pCommand, context, &runRename);
  pCommand->add_option("task", pRename->strTask, "name of the task")->required()->type_name("TASK");
  pCommand->add_option("new", pRename->strNew, "new name")->required()->type_name("NAME");
  pCommand->add_flag("--yes", pRename->blYes, "do not ask");

  pCommand = addCommand(task, "delete", "Delete tasks and their run records; the output of a task moves to TASK~1.",
                        "  eorva task delete disk-usage --yes\n");
  auto pDelete = onCommand(pCommand, context, &runDelete);
  pCommand->add_option("task", pDelete->vecTasks, "one or more tasks")->required()->type_name("TASK");
  pCommand->add_flag("--yes", pDelete->blYes, "do not ask");
}
