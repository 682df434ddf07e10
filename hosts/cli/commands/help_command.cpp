/// eorva help

#include <fmt/format.h>

#include "cli/command_line.h"
#include "cli/context.h"
#include "common/support/failure.h"
#include "common/text/suggestion.h"

namespace {

struct HelpOptions {
  const CLI::App* pApp = nullptr;
  std::vector<std::string> vecCommand;
};

int runHelp(const Context&, const HelpOptions& options) {
  const CLI::App* pCommand = options.pApp;
  std::string strPath = pCommand->get_name();
  std::vector<std::string> vecDone;
  for (const std::string& strWord : options.vecCommand) {
    const std::vector<const CLI::App*> vecFound = pCommand->get_subcommands(
        [&](const CLI::App* pSub) { return !strWord.empty() && pSub->get_name() == strWord; });
    if (vecFound.empty()) {
      vecDone.emplace_back();
      throw Host::UsageFailure(fmt::format("help: there is no command \"{} {}\"{}", strPath, strWord,
                                           Host::didYouMean(strWord, nextWord(*options.pApp, vecDone).vecWords)));
    }
    pCommand = vecFound.front();
    strPath += " " + strWord;
    vecDone.push_back(strWord);
  }
  fmt::print("{}", pCommand->get_formatter()->make_help(pCommand, strPath, CLI::AppFormatMode::Normal));
  return EXIT_DONE;
}

}  // namespace

void addHelpCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand = addCommand(app, "help", "Show the help of a command, like 'COMMAND --help'.",
                                  "  eorva help\n"
                                  "  eorva help task add\n");
  auto pOptions = onCommand(pCommand, context, &runHelp, true);
  pOptions->pApp = &app;
  pCommand->add_option("command", pOptions->vecCommand, "the command")->type_name("COMMAND");
}
