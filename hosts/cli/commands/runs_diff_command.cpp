/// eorva runs diff

#include <fmt/format.h>
#include <unistd.h>

#include "cli/terminal/present.h"
#include "common/answers/run_answers.h"
#include "common/output/run_files.h"
#include "common/store/records.h"
#include "common/support/text_diff.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"
#include "runs_commands.h"

namespace {

struct DiffOptions {
  Json::Int64 iLeft = 0;
  Json::Int64 iRight = 0;
  bool blOutput = false;
  bool blJson = false;

  const char* file() const { return blOutput ? Host::OUTPUT_FILE : Host::SCRIPT_FILE; }
};

/// A copy in memory: the owner of the run can make its file as large as the disk.
Host::UniqueFd copyOf(const Json::Value& jRun, const DiffOptions& options) {
  const std::string strText = Host::textOfRunFile(jRun, options.file());
  return Host::fileOfText(options.blJson ? strText : Host::shownOn(STDOUT_FILENO, strText));
}

std::string labelOf(const Json::Value& jRun) {
  return fmt::format("run {} of {}", Host::intOf(jRun, "result_id"), Host::textOf(jRun, "task_name"));
}

int runDiff(const Context& context, const DiffOptions& options) {
  const Host::OpenStore session;
  const Json::Value jLeft = Host::requireRun(session, options.iLeft);
  const Json::Value jRight = Host::requireRun(session, options.iRight);
  const Host::UniqueFd left = copyOf(jLeft, options);
  const Host::UniqueFd right = copyOf(jRight, options);
  const Host::DiffSide sideLeft{left.get(), labelOf(jLeft)};
  const Host::DiffSide sideRight{right.get(), labelOf(jRight)};
  bool blSame = false;
  if (options.blJson) {
    const std::string strDifference = Host::differenceText(sideLeft, sideRight);
    blSame = strDifference.empty();
    printJson(Host::runDifferenceForPrograms(jLeft, jRight, options.file(), strDifference));
  } else {
    blSame = Host::writeDifference(sideLeft, sideRight, context.isColored(), STDOUT_FILENO);
  }
  return blSame ? EXIT_DONE : EXIT_DIFFERENT;
}

}  // namespace

void addRunsDiffCommand(CLI::App& runs, Context& context) {
  CLI::App* pCommand = addCommand(runs, "diff", "Compare the scripts of two runs, or their outputs.",
                                  "  eorva runs diff 12 47        exits with 3 when the scripts differ\n"
                                  "  eorva runs diff --output 12 47\n");
  auto pOptions = onCommand(pCommand, context, &runDiff);
  addRunOption(pCommand, pOptions->iLeft);
  addRunOption(pCommand, pOptions->iRight, "other");
  pCommand->add_flag("--output", pOptions->blOutput, "compare what the runs printed");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON object with \"same\" and \"difference\"");
}
