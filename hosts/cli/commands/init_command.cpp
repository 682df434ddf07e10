/// eorva init

#include <fmt/format.h>

#include "cli/context.h"
#include "common/config/output_setting.h"
#include "common/config/scheduler_section.h"
#include "common/state/initialize.h"
#include "common/support/paths.h"

namespace {

struct InitOptions {
  std::string strOutputPath;
};

int runInit(const Context&, const InitOptions& options) {
  Host::initialize(options.strOutputPath);
  fmt::print("store          {}\nconfiguration  {}\noutput         {}\n", Host::DATABASE_PATH, Host::CONFIG_PATH,
             Host::outputSetting(Host::schedulerConfig()));
  return EXIT_DONE;
}

}  // namespace

void addInitCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<InitOptions>();
  CLI::App* pCommand = addCommand(
      app, "init", "Create the store and the configuration; what is there stays, but for an output path that is given.",
      "  eorva init                           keep output on the share \"scheduler\", if there is one\n"
      "  eorva init --output-path logs/runs   keep output in \"runs\" on the share \"logs\"\n");
  pCommand->add_option("--output-path", pOptions->strOutputPath, "where output is kept: a share, or a path inside it")
      ->type_name("SHARE[/PATH]");
  onCommand(pCommand, context, pOptions, &runInit);
}
