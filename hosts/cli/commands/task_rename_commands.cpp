/// eorva task rename|delete

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "common/tasks/rename_task.h"

namespace {

struct DeleteOptions {
  std::string strTask;
  bool blYes = false;
};

struct RenameOptions {
  std::string strTask;
  std::string strNew;
  bool blYes = false;
};

void confirmDelete(const std::string& strTask, const std::vector<std::string>& vecNeededBy) {
  confirm(fmt::format("deleting \"{}\" also deletes the records of its runs{}", strTask,
                      vecNeededBy.empty()
                          ? ""
                          : fmt::format(", and these no longer wait for it: {}", fmt::join(vecNeededBy, ", "))),
          "Delete it?", fmt::format("the task \"{}\" is not deleted", strTask));
}

void confirmRename(const RenameOptions& options, const std::vector<std::string>& vecNeededBy) {
  confirm(fmt::format("renaming \"{}\" takes its runs and their output along{}", options.strTask,
                      vecNeededBy.empty() ? ""
                                          : fmt::format(", and these wait for \"{}\" then: {}", options.strNew,
                                                        fmt::join(vecNeededBy, ", "))),
          "Rename it?", fmt::format("the task \"{}\" is not renamed", options.strTask));
}

int runDelete(const Context&, const DeleteOptions& options) {
  if (!options.blYes) {
    confirmDelete(options.strTask, Host::checkDelete(options.strTask));
  }
  const std::string strOutput = Host::deleteTask(options.strTask);
  fmt::print("deleted {}\n", options.strTask);
  printNote(strOutput.empty() ? "" : "its output " + strOutput);
  return EXIT_DONE;
}

int runRename(const Context&, const RenameOptions& options) {
  if (!options.blYes) {
    confirmRename(options, Host::checkRename(options.strTask, options.strNew));
  }
  Host::renameTask(options.strTask, options.strNew);
  fmt::print("renamed {} to {}\n", options.strTask, options.strNew);
  return EXIT_DONE;
}

}  // namespace

void addTaskRenameCommands(CLI::App& task, Context& context) {
  auto pRename = std::make_shared<RenameOptions>();
  CLI::App* pCommand =
      addCommand(task, "rename", "Give a task a new name, in other tasks' lists, its runs and their output too.",
                 "  eorva task rename disk-usage disk-report --yes\n");
  pCommand->add_option("task", pRename->strTask, "its name")->required()->type_name("TASK");
  pCommand->add_option("new", pRename->strNew, "the new name")->required()->type_name("NAME");
  pCommand->add_flag("--yes", pRename->blYes, "do not ask");
  onCommand(pCommand, context, pRename, &runRename);

  auto pDelete = std::make_shared<DeleteOptions>();
  pCommand = addCommand(task, "delete",
                        "Delete a task, its place in other tasks' lists, and its run records; its output is put aside.",
                        "  eorva task delete disk-usage --yes\n");
  pCommand->add_option("task", pDelete->strTask, "its name")->required()->type_name("TASK");
  pCommand->add_flag("--yes", pDelete->blYes, "do not ask");
  onCommand(pCommand, context, pDelete, &runDelete);
}
