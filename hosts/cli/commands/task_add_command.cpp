/// eorva task add|copy

#include <fmt/format.h>
#include <memory>

#include "cli/task_options.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/event_answers.h"
#include "common/answers/task_answers.h"
#include "common/tasks/add_task.h"
#include "common/text/json_members.h"

namespace {

struct AddOptions {
  std::string strName;
  TaskOptions task;
};

struct CopyOptions {
  std::string strTask;
  std::string strNew;
  TaskOptions task;
};

void sayAdded(const Host::TaskAdded& added) {
  const std::string strTask = Host::textOf(added.jTask, "task_name");
  const std::string strEvent = Host::textOf(added.jTask, "event");
  printWarnings(strTask, added.vecWarnings);
  say("added {} (event {}, owner {})\n", strTask, strEvent, Host::ownerText(added.jTask));
  printNote(Host::disabledEventNote(strEvent));
}

int runAdd(const Context&, const AddOptions& options) {
  Json::Value jTask(Json::objectValue);
  if (options.task.strRecord.empty()) {
    jTask["task_name"] = options.strName;
    jTask["depend_on_task"] = "";
  }
  setMembers(options.task, jTask);
  sayAdded(Host::addTask(jTask, options.task.events()));
  return EXIT_DONE;
}

int runCopy(const Context&, const CopyOptions& options) {
  Json::Value jChanges(Json::objectValue);
  setMembers(options.task, jChanges);
  sayAdded(Host::copyTask(options.strTask, options.strNew, jChanges, options.task.events()));
  return EXIT_DONE;
}

/// A record has everything; else four options are required.
void requireComplete(const AddOptions& options) {
  if (!options.task.strRecord.empty()) {
    if (!options.strName.empty()) {
      throw CLI::ValidationError("TASK", "excludes --record, which has the name");
    }
    return;
  }
  const std::pair<const char*, std::string> required[] = {{"TASK", options.strName},
                                                          {"--event", options.task.strEvent.value_or("")},
                                                          {"--owner", options.task.strOwner.value_or("")},
                                                          {"--script", options.task.strScript}};
  for (const auto& [szWhat, strValue] : required) {
    if (strValue.empty()) {
      throw CLI::RequiredError(szWhat);
    }
  }
  if (options.task.blMailIfError && !options.task.strMail) {
    throw CLI::RequiresError("--mail-if-error", "--mail");
  }
}

}  // namespace

void addTaskAddCommand(CLI::App& task, Context& context) {
  auto pOptions = std::make_shared<AddOptions>();
  CLI::App* pCommand = addCommand(task, "add", "Add a task.",
                                  "  eorva task add disk-usage --event bootup --owner alice --script disk-usage.sh\n"
                                  "  eorva task add report --event bootup --owner 1001 --script - < report.sh\n"
                                  "  eorva task add --record task.json    its owner: {\"1001\": \"alice\"}\n");
  pCommand->add_option("task", pOptions->strName, "name of the task")->type_name("NAME");
  addTaskOptions(pCommand, pOptions->task);
  for (const char* szName : {"task", "--event", "--owner", "--script"}) {
    CLI::Option* pOption = pCommand->get_option(szName);
    pOption->description(pOption->get_description() + "; required");
  }
  pCommand->callback([&context, pOptions] {
    requireComplete(*pOptions);
    context.fnRun = [&context, pOptions] { return runAdd(context, *pOptions); };
  });
}

void addTaskCopyCommand(CLI::App& task, Context& context) {
  CLI::App* pCommand = addCommand(task, "copy", "Copy a task; options change the copy.",
                                  "  eorva task copy disk-usage disk-usage-evening --event shutdown\n"
                                  "  eorva task copy report report-of-bob --owner bob --no-after --disabled\n");
  auto pOptions = onCommand(pCommand, context, &runCopy);
  pCommand->add_option("task", pOptions->strTask, "task to copy")->required()->type_name("TASK");
  pCommand->add_option("new", pOptions->strNew, "name of the copy")->required()->type_name("NAME");
  addTaskOptions(pCommand, pOptions->task);
}
