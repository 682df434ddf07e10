/// \file context.h
/// Shared by all subcommands.

#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>

/// Exit statuses.
inline constexpr int EXIT_DONE = 0;
inline constexpr int EXIT_FAILED = 1;
inline constexpr int EXIT_USAGE = 2;
inline constexpr int EXIT_TASK_FAILED = 3;  ///< the exit status of a task was not 0
inline constexpr int EXIT_DIFFERENT = 3;    ///< the compared things differ

/// Options of the whole command, and the work to do.
struct Context {
  std::string strColor = "auto";
  std::function<int()> fnRun;  ///< set by the subcommand
  bool blAnyUser = false;      ///< set by subcommands that need no root

  /// Tells whether standard output is a terminal that can move its cursor.
  static bool isOnTerminal();

  /// Tells whether log lines go to standard output.
  static bool isLogShown();

  /// Tells whether standard output may have colours.
  bool isColored() const;
};

/// Adds a subcommand.
/// \param strExamples  lines for its help: a command each, and what it does.
CLI::App* addCommand(CLI::App& parent, const std::string& strName, const std::string& strDescription,
                     const std::string& strExamples);

/// Makes a subcommand run a function with its options.
/// \param blAnyUser  true: also for users other than root.
/// \return the options.
template <typename Options>
std::shared_ptr<Options> onCommand(CLI::App* pCommand, Context& context, int (*fnRun)(const Context&, const Options&),
                                   bool blAnyUser = false) {
  auto pOptions = std::make_shared<Options>();
  pCommand->callback([&context, pOptions, fnRun, blAnyUser] {
    context.blAnyUser = blAnyUser;
    context.fnRun = [&context, pOptions, fnRun] { return fnRun(context, *pOptions); };
  });
  return pOptions;
}

/// \name The families of subcommands
/// @{
void addInitCommand(CLI::App& app, Context& context);
void addTaskCommands(CLI::App& app, Context& context);
void addGraphCommand(CLI::App& task, Context& context);
void addRelateCommand(CLI::App& task, Context& context);
void addTaskAddCommand(CLI::App& task, Context& context);
void addTaskCopyCommand(CLI::App& task, Context& context);
void addTaskEditCommands(CLI::App& task, Context& context);
void addTaskRenameCommands(CLI::App& task, Context& context);
void addEventCommands(CLI::App& app, Context& context);
void addEventChangeCommands(CLI::App& event, Context& context);
void addEventPlanCommand(CLI::App& event, Context& context);
void addEventStateCommands(CLI::App& event, Context& context);
void addExecuteCommands(CLI::App& app, Context& context);
void addCheckCommand(CLI::App& app, Context& context);
void addHelpCommand(CLI::App& app, Context& context);
void addCompleteCommand(CLI::App& app, Context& context);
void addManualCommand(CLI::App& app, Context& context);
void addExplainCommand(CLI::App& app, Context& context);
void addStopCommand(CLI::App& app, Context& context);
void addRunsCommands(CLI::App& app, Context& context);
void addConfigCommands(CLI::App& app, Context& context);
void addExportCommand(CLI::App& app, Context& context);
void addApplyCommand(CLI::App& app, Context& context);
void addImportCommands(CLI::App& app, Context& context);
void addLogCommand(CLI::App& app, Context& context);
void addBackupCommands(CLI::App& app, Context& context);
void addShareCommands(CLI::App& app, Context& context);
/// @}
