/// eorva, the administrators' command.

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "eorvascheduler.h"

#include "cli/terminal/present.h"
#include "command_line.h"
#include "common/answers/hint_text.h"
#include "common/state/joint_change.h"
#include "common/support/failure.h"
#include "common/support/standard_descriptors.h"
#include "common/text/terminal_text.h"
#include "context.h"
#include "help_format.h"
#include "start_screen.h"
#include "usage.h"

namespace {

constexpr char EXAMPLES[] =
    "Examples:\n"
    "  eorva task add disk-usage --event bootup --owner alice --script disk-usage.sh\n"
    "  eorva fire bootup                         run the tasks of an event\n"
    "  eorva runs list                           what ran, and how it ended\n"
    "  eorva explain disk-usage                  why a task ran or did not run\n"
    "  eorva check                               check the installation\n"
    "\n"
    "Exit status: 0 success, 1 failure, 2 wrong usage, 3 a task failed (fire, run).\n";

void buildCommandLine(CLI::App& app, Context& context) {
  app.name("eorva");
  app.footer(EXAMPLES);
  app.formatter(std::make_shared<HelpFormat>());
  app.set_version_flag("--version", "eorva " EORVA_VERSION);
  app.add_flag("--log-stdout", blLogToStdout, "write log lines to standard output")->group(FOR_DEVELOPERS);
  app.add_flag("--debug", blDebugOutput, "log each step of the library")->group(FOR_DEVELOPERS);
  app.add_option("--color", context.strColor, "use colours: auto, always or never")
      ->check(oneOf({"auto", "always", "never"}))
      ->type_name("WHEN");
  app.require_subcommand(1);
  app.fallthrough();
  app.failure_message([](const CLI::App* pApp, const CLI::Error& error) {
    return Host::shownOn(STDERR_FILENO, usageText(pApp, error));
  });
  addHelpCommand(app, context);
  addInitCommand(app, context);
  addTaskCommands(app, context);
  addEventCommands(app, context);
  addExecuteCommands(app, context);
  addExplainCommand(app, context);
  addCheckCommand(app, context);
  addCompleteCommand(app, context);
  addStopCommand(app, context);
  addManualCommand(app, context);
  addRunsCommands(app, context);
  addConfigCommands(app, context);
  addExportCommand(app, context);
  addApplyCommand(app, context);
  addImportCommands(app, context);
  addLogCommand(app, context);
  addBackupCommands(app, context);
  addShareCommands(app, context);
  refuseEmptyValues(app);
}

void requireRoot() {
  if (getuid() != 0 || geteuid() != 0) {
    throw Host::Failure(
        fmt::format("must be run by root: real and effective user must be 0, not {} and {}", getuid(), geteuid()));
  }
}

/// Every user can read the command line of a process, and the processes of an execution keep it as long as they live.
void hideVariables(int argc, char** argv) {
  constexpr std::string_view OPTION = "--env";
  bool blVariable = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view strWord(argv[i]);
    const bool blBoth = strWord.starts_with(OPTION) && strWord.substr(OPTION.size()).starts_with('=');
    const std::size_t iName = blBoth ? OPTION.size() + 1 : 0;
    const std::size_t iValue = strWord.find('=', iName);
    if ((blVariable || blBoth) && iValue != std::string_view::npos) {
      std::fill(argv[i] + iValue + 1, argv[i] + strWord.size(), '*');
    }
    blVariable = strWord == OPTION;
  }
}

void parse(CLI::App& app, int argc, char** argv) {
  std::vector<std::string> vecWords = withEmptyValues(app, {argv + std::min(argc, 1), argv + argc});
  hideVariables(argc, argv);
  // The parser wants the last word first.
  std::reverse(vecWords.begin(), vecWords.end());
  app.parse(std::move(vecWords));
}

/// Writes to standard error, and ignores errors there.
/// \param strAdvice  whole lines of our own, below the text.
void complain(const std::string& strText, const std::string& strAdvice = {}) {
  std::fputs(fmt::format("eorva: {}\n{}", Host::asMessage(strText), strAdvice).c_str(), stderr);
}

/// A change that was killed or lost power is finished or undone by the next command.
void settleInterrupted() {
  try {
    printNote(Host::settleInterruptedChange());
  } catch (const Host::Failure& failure) {
    printNote(fmt::format("warning: an interrupted change of the configuration is not finished: {}", failure.what()));
  }
}

int runCommandLine(int argc, char** argv) {
  if (argc <= 1) {
    return showStart();
  }
  Context context;
  CLI::App app("Runs users' scripts when something happens on this server.");
  try {
    buildCommandLine(app, context);
    parse(app, argc, argv);
  } catch (const Host::UsageFailure& error) {
    complain(error.what(), "Try 'eorva --help'.\n");
    return EXIT_USAGE;
  } catch (const CLI::ParseError& error) {
    // The parser throws help and version, too, with code 0.
    const bool blShown = app.exit(error) == 0;
    flushOutput();
    return blShown ? EXIT_DONE : EXIT_USAGE;
  }
  if (!context.blAnyUser) {
    requireRoot();
    settleInterrupted();
  }
  try {
    const int iResult = context.fnRun();
    flushOutput();
    return iResult;
  } catch (const Host::UsageFailure& error) {
    complain(error.what(), fmt::format("Try '{} --help'.\n", typedCommand(app)));
    return EXIT_USAGE;
  }
}

}  // namespace

bool Context::isOnTerminal() {
  const char* szTerm = std::getenv("TERM");
  const bool blDumb = szTerm == nullptr || *szTerm == '\0' || std::strcmp(szTerm, "dumb") == 0;
  return !blDumb && isatty(STDOUT_FILENO) == 1;
}

bool Context::isColored() const {
  if (strColor != "auto") {
    return strColor == "always";
  }
  const char* szNoColor = std::getenv("NO_COLOR");
  return (szNoColor == nullptr || *szNoColor == '\0') && isOnTerminal();
}

CLI::App* addCommand(CLI::App& parent, const std::string& strName, const std::string& strDescription,
                     const std::string& strExamples) {
  CLI::App* pCommand = parent.add_subcommand(strName, strDescription);
  pCommand->footer("Examples:\n" + strExamples);
  return pCommand;
}

namespace {

int runMain(int argc, char** argv) {
  try {
    return runCommandLine(argc, argv);
  } catch (const Host::Failure& failure) {
    complain(failure.what() + Host::hintText(failure.hint()));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return EXIT_FAILED;
}

/// Needs no memory.
int tellNoMemory() {
  constexpr std::string_view TEXT = "eorva: out of memory\n";
  static_cast<void>(!write(STDERR_FILENO, TEXT.data(), TEXT.size()));
  return EXIT_FAILED;
}

}  // namespace

int main(int argc, char** argv) {
  Host::occupyStandardDescriptors();
  // A caller may ignore it; then no child could be waited for.
  std::signal(SIGCHLD, SIG_DFL);
  // A file that would pass the caller's limit is an error, not the end. Unlike SIG_IGN, programs do not inherit this.
  std::signal(SIGXFSZ, [](int) {});
  try {
    std::setlocale(LC_ALL, "");
    return runMain(argc, argv);
  } catch (const std::bad_alloc&) {
    return tellNoMemory();
  }
}
