/// eorva init

#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "cli/context.h"
#include "common/config/configuration.h"
#include "common/config/output_setting.h"
#include "common/config/scheduler_section.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"

namespace {

/// The share that is installed for it.
constexpr char DEFAULT_SHARE[] = "scheduler";

struct InitOptions {
  std::string strOutputPath;
};

/// The store's folder, or where the installed link to it leads: such a link is crossed on purpose.
std::string storeFolder() {
  const std::filesystem::path folder = Host::STORE_FOLDER;
  std::error_code error;
  const std::filesystem::path target = std::filesystem::read_symlink(folder, error);
  return error ? folder.string() : (folder.parent_path() / target).lexically_normal().string();
}

void useOutputPath(const Host::ConfigLock& lock, const std::string& strPath) {
  const Host::ConfigValues values = {{"output_path", strPath}, {"enable_output", "yes"}};
  const std::vector<std::string> vecWhy = Host::whyNotConfig(values, {});
  if (!vecWhy.empty()) {
    throw Host::Failure(fmt::format("{}", fmt::join(vecWhy, "\n")));
  }
  Host::setConfig(lock, values);
}

int runInit(const Context&, const InitOptions& options) {
  if (ORVAFSMkdirP(storeFolder().c_str(), nullptr, 1, 0, 0, 0755) < 0) {
    throw Host::Failure(fmt::format("cannot create the folder {}", Host::STORE_FOLDER));
  }
  const Host::ConfigLock lock;
  if (configInit() < 0) {
    throw Host::Failure(fmt::format("cannot create the configuration {}", Host::CONFIG_PATH));
  }
  if (!options.strOutputPath.empty()) {
    useOutputPath(lock, options.strOutputPath);
  } else if (Host::configText("output_path").empty() && KLIBShareIsAccessible(DEFAULT_SHARE) == 1) {
    // Without a folder for output all tasks share one script file, so there should be one from the beginning.
    useOutputPath(lock, DEFAULT_SHARE);
  }
  const Host::Session session(Host::Session::Store::CREATE);
  const Json::Value jConfig = Host::schedulerConfig();
  fmt::print("store          {}\nconfiguration  {}\noutput         {}\n", Host::DATABASE_PATH, Host::CONFIG_PATH,
             Host::outputSetting(jConfig));
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
