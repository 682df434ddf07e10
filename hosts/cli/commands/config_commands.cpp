/// eorva config show|get|set

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/answers/server_answers.h"
#include "common/config/configuration.h"
#include "common/config/settings.h"
#include "common/support/failure.h"

namespace {

struct ShowOptions {
  bool blJson = false;
};

struct GetOptions {
  std::string strKey;
  bool blJson = false;
};

struct SetOptions {
  std::vector<std::string> vecValues;
  std::string strOutputPath;
  std::string strOutput;
  bool blForce = false;
};

int runShow(const Context&, const ShowOptions& options) {
  if (options.blJson) {
    printJson(Host::configForPrograms());
    return EXIT_DONE;
  }
  std::vector<std::pair<std::string, std::string>> vecFields;
  for (const std::string& strKey : Host::configKeys()) {
    const std::string strValue = Host::configText(strKey);
    vecFields.emplace_back(strKey, strValue.empty() ? "-" : strValue);
  }
  printFields(vecFields);
  for (const std::string& strIgnored : Host::ignoredSettings()) {
    printNote("warning: " + strIgnored);
  }
  return EXIT_DONE;
}

int runGet(const Context&, const GetOptions& options) {
  const std::string strValue = Host::configText(options.strKey);
  if (options.blJson) {
    printJson(Host::settingForPrograms(options.strKey, strValue));
  } else {
    say("{}\n", strValue);
  }
  return EXIT_DONE;
}

Host::ConfigValues valuesOf(const SetOptions& options) {
  Host::ConfigValues values;
  for (const std::string& strValue : options.vecValues) {
    const std::size_t iEqual = strValue.find('=');
    if (iEqual == std::string::npos) {
      throw Host::UsageFailure(fmt::format("config set: \"{}\" is not SETTING=VALUE", strValue));
    }
    if (!values.emplace(strValue.substr(0, iEqual), strValue.substr(iEqual + 1)).second) {
      throw Host::UsageFailure(fmt::format("config set: duplicate setting {}", strValue.substr(0, iEqual)));
    }
  }
  if (!options.strOutputPath.empty()) {
    values["output_path"] = options.strOutputPath;
    values["enable_output"] = "yes";
  } else if (!options.strOutput.empty()) {
    values["enable_output"] = options.strOutput == "on" ? "yes" : "no";
  }
  return values;
}

int runSet(const Context&, const SetOptions& options) {
  const Host::ConfigValues values = valuesOf(options);
  if (values.empty()) {
    throw Host::UsageFailure("config set: nothing to set; add SETTING=VALUE, --output-path or --output");
  }
  Host::changeConfig(values, options.blForce);
  try {
    runShow({}, {});
  } catch (const Host::Failure& failure) {
    // Another setting may have been invalid before.
    printNote(fmt::format("warning: {}", failure.what()));
  }
  flushAfterChange();
  return EXIT_DONE;
}

}  // namespace

void addConfigCommands(CLI::App& app, Context& context) {
  CLI::App* pConfig = addCommand(app, "config", "Show and change the configuration.",
                                 "  eorva config show\n"
                                 "  eorva config set --output-path logs   keep output on the share \"logs\"\n"
                                 "  eorva config set retention_runs=50\n");
  pConfig->require_subcommand(1);

  CLI::App* pCommand = addCommand(*pConfig, "show", "Show the configuration.", "  eorva config show --json\n");
  auto pShow = onCommand(pCommand, context, &runShow);
  pCommand->add_flag("--json", pShow->blJson, "as JSON: the stored section and the settings");

  pCommand = addCommand(*pConfig, "get", "Show the value of one setting.", "  eorva config get retention_runs\n");
  auto pGet = onCommand(pCommand, context, &runGet);
  pCommand->add_option("key", pGet->strKey, "name of the setting")->required()->type_name("SETTING");
  pCommand->add_flag("--json", pGet->blJson, "as JSON: an object with \"key\" and \"value\"");

  pCommand = addCommand(*pConfig, "set", "Change the configuration: all settings or none.",
                        "  eorva config set retention_runs=50 retention_output_size=20G\n"
                        "  eorva config set --output-path logs/runs   keep output in \"runs\" on the share \"logs\"\n"
                        "  eorva config set --output off              keep no output; all tasks must have one owner\n"
                        "\n/etc/eorva.conf explains the settings.\n");
  auto pSet = onCommand(pCommand, context, &runSet);
  pCommand->add_option("values", pSet->vecValues, "settings with new values")->type_name("SETTING=VALUE");
  CLI::Option* pPath =
      pCommand->add_option("--output-path", pSet->strOutputPath, "place of run output: a share, or a folder on it")
          ->type_name("SHARE[/PATH]");
  pCommand->add_option("--output", pSet->strOutput, "keep run output: on or off")
      ->check(oneOf({"on", "off"}))
      ->type_name("STATE")
      ->excludes(pPath);
  pCommand->add_flag("--force", pSet->blForce, "switch output off even if tasks have several owners");
}
