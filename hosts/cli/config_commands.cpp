/// eorva config show|set

#include <fmt/format.h>
#include <set>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/session.h"
#include "context.h"
#include "output_setting.h"
#include "present.h"

namespace {

struct ShowOptions {
  bool blJson = false;
};

struct SetOptions {
  std::string strOutputPath;
  std::string strOutput;
  bool blForce = false;
};

int runShow(const Context&, const ShowOptions& options) {
  const Json::Value jConfig = Host::schedulerConfig();
  if (options.blJson) {
    printJson(jConfig);
  } else {
    printFields({{"output", outputSetting(jConfig)}});
  }
  return EXIT_DONE;
}

/// Without output, all runs of an execution share one script file, and a script of one owner can be run with
/// the rights of another.
void refuseSharedScript() {
  Host::Session session;
  std::set<Json::Int64> setOwners;
  for (const Json::Value& jTask : Host::listTasks(session)) {
    setOwners.insert(Host::intOf(jTask, "owner", -1));
  }
  if (setOwners.size() > 1) {
    throw Host::Failure(
        fmt::format("output is not switched off: there are tasks of {} owners, and without an output folder a script "
                    "of one owner can be run with the rights of another (--force does it all the same)",
                    setOwners.size()));
  }
}

int runSet(const Context&, const SetOptions& options) {
  if (options.strOutputPath.empty() && options.strOutput.empty()) {
    throw Host::UsageFailure("config set: nothing to set; give --output-path or --output");
  }
  if (options.strOutput == "off") {
    if (!options.blForce) {
      refuseSharedScript();
    }
    setOutputEnabled(false);
  }
  if (!options.strOutputPath.empty()) {
    setOutputPath(options.strOutputPath);
  } else if (options.strOutput == "on") {
    setOutputEnabled(true);
  }
  return runShow({}, {});
}

}  // namespace

void addConfigCommands(CLI::App& app, Context& context) {
  CLI::App* pConfig = addCommand(app, "config", "Show and change the configuration.",
                                 "  eorva config show\n"
                                 "  eorva config set --output-path logs   keep output on the share \"logs\"\n");
  pConfig->require_subcommand(1);

  auto pShow = std::make_shared<ShowOptions>();
  CLI::App* pCommand = addCommand(*pConfig, "show", "Show the configuration.", "  eorva config show --json\n");
  pCommand->add_flag("--json", pShow->blJson, "as JSON: the section as it is stored");
  onCommand(pCommand, context, pShow, &runShow);

  auto pSet = std::make_shared<SetOptions>();
  pCommand = addCommand(*pConfig, "set", "Change the configuration.",
                        "  eorva config set --output-path logs/runs   keep output in \"runs\" on the share \"logs\"\n"
                        "  eorva config set --output off              keep no output and no scripts\n");
  CLI::Option* pPath =
      pCommand->add_option("--output-path", pSet->strOutputPath, "where output is kept: a share, or a path inside it")
          ->type_name("SHARE[/PATH]");
  pCommand->add_option("--output", pSet->strOutput, "keep output: on or off")
      ->check(CLI::IsMember({"on", "off"}))
      ->type_name("on|off")
      ->excludes(pPath);
  pCommand->add_flag("--force", pSet->blForce, "switch output off although there are tasks of several owners");
  onCommand(pCommand, context, pSet, &runSet);
}
