/// eorva task relate

#include <fmt/format.h>

#include "eorvascheduler.h"

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_graph.h"
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

RelateType typeOf(const RelateOptions& options) {
  if (options.blNeeds) {
    return RTYPE_BOTTM_UP;
  }
  return options.blNeededBy ? RTYPE_TOP_DOWN : RTYPE_CANDIDATE;
}

/// The library walks on without end in a graph that nobody should have stored.
void refuseEndlessWalk(const Json::Value& jTasks, const std::string& strTask) {
  const Host::TaskGraph graph(jTasks);
  std::string strReasons;
  for (const std::string& strWhy : graph.whyEndless(graph.withReachedBy({strTask}))) {
    strReasons += "\n  " + strWhy;
  }
  if (!strReasons.empty()) {
    throw Host::Failure(fmt::format("the tasks around \"{}\" cannot be walked through:{}", strTask, strReasons));
  }
}

Json::Value related(Host::Session& session, const RelateOptions& options) {
  Json::Value jIn(Json::objectValue);
  jIn["task_name"] = options.strTask;
  jIn["relate_type"] = typeOf(options);
  Json::Value jOut(Json::arrayValue);
  if (recListRelate(session.tasks(), jIn, jOut, session.db()) < 0) {
    throw Host::Failure(
        fmt::format("cannot find the tasks around \"{}\"; the reason is in the system log (--log-stdout shows it here)",
                    options.strTask));
  }
  return jOut;
}

int runRelate(const Context& context, const RelateOptions& options) {
  Host::Session session;
  Host::requireTask(session, options.strTask);
  refuseEndlessWalk(Host::listTasks(session), options.strTask);
  Json::Value jOut(Json::arrayValue);
  Table table({{"TASK"}, {"EVENT"}, {"OWNER"}, {"WAITS FOR"}}, context.isColored());
  for (const Json::Value& jTask : related(session, options)) {
    jOut.append(taskForPrograms(jTask));
    table.addRow({{textOf(jTask, "task_name")}, {textOf(jTask, "event")}, {ownerText(jTask)}, {needsText(jTask)}});
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
  CLI::App* pCommand = addCommand(task, "relate", "List the tasks around a task, near and far.",
                                  "  eorva task relate summary --needs\n"
                                  "  eorva task relate disk-usage --needed-by --json\n"
                                  "  eorva task relate report --candidates      those that it could wait for\n");
  pCommand->add_option("task", pOptions->strTask, "its name")->required()->type_name("TASK");
  CLI::Option_group* pWhich = pCommand->add_option_group("which");
  CLI::Option* pNeeds =
      pWhich->add_flag("--needs", pOptions->blNeeds, "all that it waits for, directly or through others");
  CLI::Option* pNeededBy =
      pWhich->add_flag("--needed-by", pOptions->blNeededBy, "all that wait for it, directly or through others")
          ->excludes(pNeeds);
  pWhich->add_flag("--candidates", pOptions->blCandidates, "the tasks of its event that are in neither")
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
