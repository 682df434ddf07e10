/// eorva task add|copy

#include <fmt/format.h>
#include <memory>

#include "eorvascheduler.h"

#include "cli/task_options.h"
#include "cli/terminal/present.h"
#include "common/answers/event_answers.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_members.h"
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

/// Stores a new task. What the rules are checked against must still hold then, so the caller holds the lock.
void storeNew(Host::Session& session, Json::Value& jTask, Host::AllowedEvents events) {
  const std::string strName = Host::textOf(jTask, "task_name");
  printWarnings(strName,
                Host::requireNoErrors(strName, Host::checkNewTask(jTask, Host::listTasks(session), events), "added"));
  Json::Value jCreated;
  if (taskPreAction(jTask) < 0 || recCreate(session.tasks(), jTask, jCreated) < 0) {
    throw Host::Failure(fmt::format("the store refused the task \"{}\"", strName));
  }
}

void sayAdded(const Json::Value& jTask) {
  fmt::print("added {} (event {}, owner {})\n", Host::textOf(jTask, "task_name"), Host::textOf(jTask, "event"),
             ownerText(jTask));
  printNote(Host::disabledEventNote(Host::textOf(jTask, "event")));
}

int runAdd(const Context&, const AddOptions& options) {
  Json::Value jTask(Json::objectValue);
  if (options.task.strRecord.empty()) {
    jTask["task_name"] = options.strName;
    jTask["depend_on_task"] = "";
  }
  setMembers(options.task, jTask);
  Host::fillDefaults(jTask);
  Host::Session session;
  Host::WriteLock lock(session);
  storeNew(session, jTask, options.task.events());
  lock.commit();
  sayAdded(jTask);
  return EXIT_DONE;
}

int runCopy(const Context&, const CopyOptions& options) {
  Json::Value jChanges(Json::objectValue);
  setMembers(options.task, jChanges);
  Host::Session session;
  Host::WriteLock lock(session);
  Json::Value jTask = Host::requestOf(Host::requireTask(session, options.strTask));
  for (const std::string& strMember : jChanges.getMemberNames()) {
    jTask[strMember] = jChanges[strMember];
  }
  jTask["task_name"] = options.strNew;
  Host::fillDefaults(jTask);
  storeNew(session, jTask, options.task.events());
  lock.commit();
  sayAdded(jTask);
  return EXIT_DONE;
}

/// A record names the task itself; without one, four things must be typed.
void requireComplete(const AddOptions& options) {
  if (!options.task.strRecord.empty()) {
    if (!options.strName.empty()) {
      throw CLI::ValidationError("TASK", "is not given together with --record, which names the task");
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
  CLI::App* pCommand =
      addCommand(task, "add", "Add a task.",
                 "  eorva task add disk-usage --event bootup --owner alice --script disk-usage.sh\n"
                 "  eorva task add report --event bootup --owner 1001 --script - --after disk-usage < report.sh\n"
                 "  eorva task add --record task.json      a whole record, its owner as {\"1001\": \"alice\"}\n");
  pCommand->add_option("task", pOptions->strName, "its name")->type_name("NAME");
  addTaskOptions(pCommand, pOptions->task);
  pCommand->callback([&context, pOptions] {
    requireComplete(*pOptions);
    context.fnRun = [&context, pOptions] { return runAdd(context, *pOptions); };
  });
}

void addTaskCopyCommand(CLI::App& task, Context& context) {
  auto pOptions = std::make_shared<CopyOptions>();
  CLI::App* pCommand = addCommand(task, "copy", "Add a task like another one; options set what is to differ.",
                                  "  eorva task copy disk-usage disk-usage-evening --event shutdown\n"
                                  "  eorva task copy report report-of-bob --owner bob --no-after --disabled\n");
  pCommand->add_option("task", pOptions->strTask, "the task that is there")->required()->type_name("TASK");
  pCommand->add_option("new", pOptions->strNew, "name of the new one")->required()->type_name("NAME");
  addTaskOptions(pCommand, pOptions->task);
  onCommand(pCommand, context, pOptions, &runCopy);
}
