#include "initialize.h"

#include <filesystem>
#include <fmt/format.h>

#include "common/config/configuration.h"
#include "common/events/event_timer.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/tasks/task_owner.h"

namespace Host {

namespace {

/// The share that is installed for output.
constexpr char DEFAULT_SHARE[] = "scheduler";

/// The store's folder, or the target of the installed link to it, which is followed on purpose.
std::string storeFolder() {
  const std::filesystem::path folder = STORE_FOLDER;
  std::error_code error;
  const std::filesystem::path target = std::filesystem::read_symlink(folder, error);
  return error ? folder.string() : (folder.parent_path() / target).lexically_normal().string();
}

}  // namespace

std::vector<std::string> initialize(const std::string& strOutputPath) {
  if (ORVAFSMkdirP(storeFolder().c_str(), nullptr, 1, 0, 0, 0755) < 0) {
    throw Failure(fmt::format("cannot create the folder {}", STORE_FOLDER));
  }
  const ConfigLock lock;
  if (configInit() < 0) {
    throw Failure(fmt::format("cannot create the configuration {}", CONFIG_PATH));
  }
  syncFolder(STORE_FOLDER);
  std::string strPath = strOutputPath;
  // Without a folder for output all tasks share one script file, so there should be one from the beginning.
  if (strPath.empty() && configText("output_path").empty() && KLIBShareIsAccessible(DEFAULT_SHARE) == 1) {
    strPath = DEFAULT_SHARE;
  }
  if (!strPath.empty()) {
    changeConfig(lock, {{"output_path", strPath}, {"enable_output", "yes"}}, {});
  }
  Session session(Session::Store::CREATE);
  storeOwnerNames(session);
  return settleTimers(lock).vecFailed;
}

}  // namespace Host
