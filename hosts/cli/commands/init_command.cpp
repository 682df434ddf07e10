/// eorva init

#include <fmt/format.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/config/scheduler_section.h"
#include "common/state/initialize.h"
#include "common/support/paths.h"

namespace {

struct InitOptions {
  std::string strOutputPath;
};

int runInit(const Context&, const InitOptions& options) {
  for (const std::string& strFailed : Host::initialize(options.strOutputPath)) {
    printNote(fmt::format("warning: {}", strFailed));
  }
  fmt::print("store          {}\nconfiguration  {}\noutput         {}\n", Host::DATABASE_PATH, Host::CONFIG_PATH,
             Host::outputSetting(Host::schedulerConfig()));
  return EXIT_DONE;
}

}  // namespace

void addInitCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "init", "Create the store and the configuration; keeps what exists, but sets the output path.",
                 "  eorva init                           keep output on the share \"scheduler\", if it exists\n"
                 "  eorva init --output-path logs/runs   keep output in \"runs\" on the share \"logs\"\n");
  auto pOptions = onCommand(pCommand, context, &runInit);
  pCommand->add_option("--output-path", pOptions->strOutputPath, "place of run output: a share, or a folder on it")
      ->type_name("SHARE[/PATH]");
}
