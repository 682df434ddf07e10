/// eorva task relate

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/answers/task_answers.h"
#include "common/tasks/related_tasks.h"
#include "common/text/json_members.h"

using Host::textOf;

namespace {

struct RelateOptions {
  std::string strTask;
  bool blWaitsFor = false;
  bool blDependants = false;
  bool blCandidates = false;
  bool blJson = false;
};

Host::Relation relationOf(const RelateOptions& options) {
  if (options.blWaitsFor) {
    return Host::Relation::WAITS_FOR;
  }
  return options.blDependants ? Host::Relation::DEPENDANTS : Host::Relation::CANDIDATES;
}

int runRelate(const Context& context, const RelateOptions& options) {
  const Json::Value jTasks = Host::relatedTasks(options.strTask, relationOf(options));
  if (options.blJson) {
    printJson(Host::arrayOf(jTasks, &Host::taskForPrograms));
  } else if (jTasks.empty()) {
    printNote("no tasks");
  } else {
    Table table({{"TASK"}, {"EVENT"}, {"OWNER"}, {"WAITS FOR"}}, context.isColored());
    for (const Json::Value& jTask : jTasks) {
      table.addRow(
          {{textOf(jTask, "task_name")}, {textOf(jTask, "event")}, {Host::ownerText(jTask)}, {waitsForText(jTask)}});
    }
    table.print();
  }
  return EXIT_DONE;
}

}  // namespace

void addRelateCommand(CLI::App& task, Context& context) {
  auto pOptions = std::make_shared<RelateOptions>();
  CLI::App* pCommand = addCommand(task, "relate", "List the dependencies and dependants of a task.",
                                  "  eorva task relate summary --needs\n"
                                  "  eorva task relate disk-usage --needed-by --json\n"
                                  "  eorva task relate report --candidates      tasks that it could wait for\n");
  pCommand->add_option("task", pOptions->strTask, "name of the task")->required()->type_name("TASK");
  CLI::Option_group* pWhich = pCommand->add_option_group("which");
  CLI::Option* pWaitsFor =
      pWhich->add_flag("--needs", pOptions->blWaitsFor, "all tasks that it waits for, directly or through others");
  CLI::Option* pDependants =
      pWhich->add_flag("--needed-by", pOptions->blDependants, "all tasks that wait for it, directly or through others")
          ->excludes(pWaitsFor);
  pWhich->add_flag("--candidates", pOptions->blCandidates, "the other tasks of its event")
      ->excludes(pWaitsFor)
      ->excludes(pDependants);
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: an array of records");
  pCommand->callback([&context, pOptions] {
    if (!pOptions->blWaitsFor && !pOptions->blDependants && !pOptions->blCandidates) {
      throw CLI::RequiredError("one of --needs, --needed-by and --candidates");
    }
    context.fnRun = [&context, pOptions] { return runRelate(context, *pOptions); };
  });
}
