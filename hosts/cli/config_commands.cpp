/// eorva config show|get|set

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <set>

#include "common/failure.h"
#include "common/host_settings.h"
#include "common/json_read.h"
#include "common/session.h"
#include "context.h"
#include "output_setting.h"
#include "present.h"

namespace {

struct ShowOptions {
  bool blJson = false;
};

struct GetOptions {
  std::string strKey;
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

/// Members of the scheduler's section that administrators know by name.
constexpr std::array<const char*, 2> SECTION_KEYS = {"output_path", "enable_output"};

std::string sectionText(const std::string& strKey) {
  const Json::Value jConfig = Host::schedulerConfig();
  if (strKey == "enable_output") {
    return Host::boolOf(jConfig, "enable_output", true) ? "yes" : "no";
  }
  return Host::textOf(jConfig, strKey.c_str());
}

int runGet(const Context&, const GetOptions& options) {
  if (std::find(SECTION_KEYS.begin(), SECTION_KEYS.end(), options.strKey) != SECTION_KEYS.end()) {
    fmt::print("{}\n", sectionText(options.strKey));
    return EXIT_DONE;
  }
  const std::vector<std::string> vecKeys = Host::settingKeys();
  if (std::find(vecKeys.begin(), vecKeys.end(), options.strKey) == vecKeys.end()) {
    throw Host::UsageFailure(fmt::format("config get: there is no setting \"{}\"; there are {}, {}", options.strKey,
                                         fmt::join(SECTION_KEYS, ", "), fmt::join(vecKeys, ", ")));
  }
  fmt::print("{}\n", Host::settingText(options.strKey));
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

  auto pGet = std::make_shared<GetOptions>();
  pCommand = addCommand(*pConfig, "get", "Show one setting, and nothing else.", "  eorva config get retention_runs\n");
  pCommand->add_option("key", pGet->strKey, "its name")->required()->type_name("KEY");
  onCommand(pCommand, context, pGet, &runGet);

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
