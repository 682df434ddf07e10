/// eorva task rename|delete

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

#include "cli/task_options.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/rename_lock.h"
#include "common/tasks/rename_task.h"
#include "common/tasks/task_members.h"
#include "common/text/json_members.h"

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

/// What cannot be done is not worth a question; it may come to be so while the question is open, too.
/// \return the tasks that wait for the task.
std::vector<std::string> checkIdle(Host::Session& session, const std::string& strTask, const char* szDone) {
  return Host::RenameLock(session, {strTask}, szDone).dependants();
}

void confirmDelete(const std::string& strTask, const std::vector<std::string>& vecNeededBy) {
  confirm(fmt::format("deleting \"{}\" also deletes the records of its runs{}", strTask,
                      vecNeededBy.empty()
                          ? ""
                          : fmt::format(", and these no longer wait for it: {}", fmt::join(vecNeededBy, ", "))),
          "Delete it?", fmt::format("the task \"{}\" is not deleted", strTask));
}

int runDelete(const Context&, const DeleteOptions& options) {
  Host::Session session;
  Host::requireTask(session, options.strTask);
  const std::vector<std::string> vecNeededBy = checkIdle(session, options.strTask, "deleted");
  if (!options.blYes) {
    confirmDelete(options.strTask, vecNeededBy);
  }
  const Host::RenameLock lock(session, {options.strTask}, "deleted");
  const std::string strOutput = Host::deleteTask(options.strTask);
  lock.makeSure();
  fmt::print("deleted {}\n", options.strTask);
  printNote(strOutput);
  return EXIT_DONE;
}

void checkNewName(Host::Session& session, const RenameOptions& options) {
  const Json::Value jBefore = Host::requestOf(Host::requireTask(session, options.strTask));
  if (options.strNew == options.strTask) {
    throw Host::Failure(fmt::format("the task \"{}\" has that name already", options.strTask));
  }
  Json::Value jTask = jBefore;
  jTask["task_name"] = options.strNew;
  Host::Findings findings = Host::checkChangedTask(jTask, jBefore, Host::listTasks(session), Host::AllowedEvents::ANY);
  findings.vecWarnings.clear();
  Host::requireNoErrors(options.strTask, findings, "renamed");
}

int runRename(const Context&, const RenameOptions& options) {
  Host::Session session;
  checkNewName(session, options);
  const std::vector<std::string> vecNeededBy = checkIdle(session, options.strTask, "renamed");
  if (!options.blYes) {
    confirm(fmt::format("renaming \"{}\" takes its runs and their output along{}", options.strTask,
                        vecNeededBy.empty() ? ""
                                            : fmt::format(", and these wait for \"{}\" then: {}", options.strNew,
                                                          fmt::join(vecNeededBy, ", "))),
            "Rename it?", fmt::format("the task \"{}\" is not renamed", options.strTask));
  }
  const Host::RenameLock lock(session, {options.strTask, options.strNew}, "renamed");
  checkNewName(session, options);
  Host::renameTask(options.strTask, options.strNew);
  lock.makeSure();
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
