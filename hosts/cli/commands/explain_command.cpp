/// eorva explain

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/event_answers.h"
#include "common/answers/run_answers.h"
#include "common/reasons/explanation.h"
#include "common/store/records.h"
#include "common/text/json_members.h"

using Host::Explanation;
using Host::intOf;
using Host::textOf;

namespace {

struct ExplainOptions {
  std::string strTask;
  bool blJson = false;
};

std::string runText(const Explanation& explanation, const Json::Value& jRun) {
  const Host::Outcome outcome = Host::outcomeOf(jRun);
  const Json::Int64 iAttempt = intOf(jRun, "attempt", 1);
  const std::string strNext = Host::nextTryText(Host::nextTryAfter(explanation.tries, jRun));
  return fmt::format("run {}{}, started {}, {}{}{}", intOf(jRun, "result_id"),
                     iAttempt == 1 ? "" : fmt::format(" (try {})", iAttempt), timeText(jRun, "start_time"),
                     jRun.isMember("stop_time")
                         ? fmt::format("ended {} with: {}", timeText(jRun, "stop_time"), outcome.strText)
                         : std::string("not ended"),
                     strNext.empty() ? "" : "; ", strNext);
}

void printVerdict(const Explanation& explanation) {
  const std::string strTask = textOf(explanation.jTask, "task_name");
  const std::string strEvent = textOf(explanation.jTask, "event");
  switch (explanation.verdict) {
    case Explanation::Verdict::NEVER_FIRED:
      say("{} has not run for its event: \"{}\" has not been fired yet\n", strTask, strEvent);
      return;
    case Explanation::Verdict::NOT_STARTED:
      say("{} was not started when \"{}\" was last fired, {}:\n", strTask, strEvent,
          Host::timeText(explanation.iFiredAt));
      printReasons("it", strTask, explanation.vecReasons);
      if (!explanation.blRemembered) {
        say("  (that firing was not recorded: this is worked out from the run records and the present state)\n");
      }
      return;
    case Explanation::Verdict::RAN:
    case Explanation::Verdict::RUNNING:
      say("{} {} when \"{}\" was last fired, {}:\n  {}\n", strTask,
          explanation.verdict == Explanation::Verdict::RAN ? "ran" : "was started, and is running,", strEvent,
          Host::timeText(explanation.iFiredAt), runText(explanation, explanation.jRun));
  }
}

void printAwaited(const Explanation& explanation) {
  if (!explanation.vecWaitsFor.empty()) {
    say("the tasks that it waited for:\n");
  }
  for (const Host::AwaitedTask& awaited : explanation.vecWaitsFor) {
    say("  {}: {}\n", awaited.strName, awaited.jRun.isObject() ? runText(explanation, awaited.jRun) : "not started");
  }
}

void printNow(const Explanation& explanation) {
  const std::string strEvent = textOf(explanation.jTask, "event");
  const Json::Int64 iNewest = intOf(explanation.jNewest, "result_id");
  if (iNewest != 0 && iNewest != intOf(explanation.jRun, "result_id")) {
    say("its newest run: {} (trigger {})\n", runText(explanation, explanation.jNewest),
        textOf(explanation.jNewest, "trigger_event"));
  }
  if (explanation.vecReasonsNow.empty()) {
    say("if \"{}\" were fired now, it would be started\n", strEvent);
    return;
  }
  say("if \"{}\" were fired now, it would not be started:\n", strEvent);
  printReasons("it", textOf(explanation.jTask, "task_name"), explanation.vecReasonsNow);
}

int runExplain(const Context&, const ExplainOptions& options) {
  const Host::OpenStore session;
  const Explanation explanation = Host::explainTask(session, options.strTask);
  if (options.blJson) {
    printJson(Host::explanationForPrograms(explanation));
    return EXIT_DONE;
  }
  printVerdict(explanation);
  printAwaited(explanation);
  printNow(explanation);
  printNote(Host::disabledEventNote(textOf(explanation.jTask, "event")));
  return EXIT_DONE;
}

}  // namespace

void addExplainCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "explain", "Explain why a task ran or did not run: the last time that its event was fired.",
                 "  eorva explain summary\n"
                 "  eorva explain summary --json\n");
  auto pOptions = onCommand(pCommand, context, &runExplain);
  pCommand->add_option("task", pOptions->strTask, "the name of the task")->required()->type_name("TASK");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON object");
}
