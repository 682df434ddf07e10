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
  bool blNeeds = false;
  bool blNeededBy = false;
  bool blCandidates = false;
  bool blJson = false;
};

Host::Relation relationOf(const RelateOptions& options) {
  if (options.blNeeds) {
    return Host::Relation::NEEDS;
  }
  return options.blNeededBy ? Host::Relation::NEEDED_BY : Host::Relation::CANDIDATES;
}

int runRelate(const Context& context, const RelateOptions& options) {
  Json::Value jOut(Json::arrayValue);
  Table table({{"TASK"}, {"EVENT"}, {"OWNER"}, {"WAITS FOR"}}, context.isColored());
  for (const Json::Value& jTask : Host::relatedTasks(options.strTask, relationOf(options))) {
    jOut.append(Host::taskForPrograms(jTask));
    table.addRow(
        {{textOf(jTask, "task_name")}, {textOf(jTask, "event")}, {Host::ownerText(jTask)}, {needsText(jTask)}});
  }
  if (options.blJson) {
    printJson(jOut);
  } else if (jOut.empty()) {
    printNote("no tasks");
  } else {
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
  CLI::Option* pNeeds =
      pWhich->add_flag("--needs", pOptions->blNeeds, "all tasks that it waits for, directly or through others");
  CLI::Option* pNeededBy =
      pWhich->add_flag("--needed-by", pOptions->blNeededBy, "all tasks that wait for it, directly or through others")
          ->excludes(pNeeds);
  pWhich->add_flag("--candidates", pOptions->blCandidates, "the other tasks of its event")
      ->excludes(pNeeds)
      ->excludes(pNeededBy);
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: an array of records");
  pCommand->callback([&context, pOptions] {
    if (!pOptions->blNeeds && !pOptions->blNeededBy && !pOptions->blCandidates) {
      throw CLI::RequiredError("one of --needs, --needed-by and --candidates");
    }
    context.fnRun = [&context, pOptions] { return runRelate(context, *pOptions); };
  });
}
