/// eorva runs diff

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/terminal_text.h"
#include "difference.h"
#include "runs_commands.h"

namespace {

struct DiffOptions {
  Json::Int64 iLeft = 0;
  Json::Int64 iRight = 0;
};

/// Scripts are short: only texts of at most a megabyte become one.
std::string readWhole(const Host::UniqueFd& fd) {
  std::string strText;
  std::array<char, 65536> buffer{};
  ssize_t cb = 0;
  while ((cb = read(fd.get(), buffer.data(), buffer.size())) > 0) {
    strText.append(buffer.data(), static_cast<std::size_t>(cb));
  }
  if (cb < 0) {
    throw Host::Failure(fmt::format("cannot read what the run left: {}", std::strerror(errno)));
  }
  return strText;
}

Host::UniqueFd scriptOf(const Json::Value& jRun) {
  Host::UniqueFd file = requireRunFile(jRun, "script.log");
  if (isatty(STDOUT_FILENO) != 1) {
    return file;
  }
  Host::TerminalText text;
  const std::string strShown = text.take(readWhole(file));
  return fileOfText(strShown + text.finish());
}

std::string labelOf(const Json::Value& jRun) {
  return fmt::format("run {} of {}", Host::intOf(jRun, "result_id"), Host::textOf(jRun, "task_name"));
}

int runDiff(const Context& context, const DiffOptions& options) {
  Host::Session session;
  const Json::Value jLeft = Host::requireRun(session, options.iLeft);
  const Json::Value jRight = Host::requireRun(session, options.iRight);
  const Host::UniqueFd left = scriptOf(jLeft);
  const Host::UniqueFd right = scriptOf(jRight);
  return printDifference({left.get(), labelOf(jLeft)}, {right.get(), labelOf(jRight)}, context.isColored())
             ? EXIT_DONE
             : EXIT_DIFFERENT;
}

}  // namespace

void addRunsDiffCommand(CLI::App& runs, Context& context) {
  auto pOptions = std::make_shared<DiffOptions>();
  CLI::App* pCommand = addCommand(runs, "diff", "Compare the scripts of two runs.",
                                  "  eorva runs diff 12 47        ends with 3 when they differ\n");
  addRunOption(pCommand, pOptions->iLeft);
  addRunOption(pCommand, pOptions->iRight, "other");
  onCommand(pCommand, context, pOptions, &runDiff);
}
