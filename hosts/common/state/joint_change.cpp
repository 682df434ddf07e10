#include "joint_change.h"

#include <filesystem>
#include <fmt/format.h>
#include <limits>

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// Settling takes less; a longer change is made by a command that still runs.
constexpr std::chrono::seconds LONGEST_WAIT(2);

/// The number is in the header of the database, so it needs no table.
std::int64_t changeNumber(Connection store) {
  return std::stoll(firstText(store, "pragma application_id", DATABASE_PATH));
}

/// A change without a store cannot have reached it.
bool countsInStore(std::int64_t iChange) {
  std::error_code error;
  return std::filesystem::exists(DATABASE_PATH, error) ? changeNumber(openStore()) == iChange
                                                       : static_cast<bool>(error);
}

/// Settles the change while the configuration is locked. Another command may have done so meanwhile.
std::string settle(const ConfigLock& lock) {
  const UnfinishedChange change = readConfigChange(lock);
  if (change.iChange != 0 && !countsInStore(change.iChange)) {
    undoConfigChange(change);
    return "an interrupted change of the tasks and the configuration was undone";
  }
  finishConfigChange(change);
  return change.mapDrafts.empty() ? "" : "an interrupted change of the configuration was finished";
}

}  // namespace

void announceChange(ConfigChange& files, Connection store) {
  announceChange(files, store, store);
}

void announceChange(ConfigChange& files, Connection store, Connection newStore) {
  if (files.isEmpty()) {
    return;
  }
  // 0 stands for a change without the store.
  const std::int64_t iChange = changeNumber(store) % std::numeric_limits<std::int32_t>::max() + 1;
  execute(newStore, fmt::format("pragma application_id = {}", iChange).c_str(), DATABASE_PATH);
  files.announce(iChange);
}

void finishChange(ConfigChange& files) {
  try {
    files.finish();
  } catch (const Failure& error) {
    throw Failure(fmt::format("the tasks are changed, but the configuration is not: {}; the next command tries again",
                              error.what()));
  }
}

std::string settleInterruptedChange() {
  if (!isConfigChangeNoted()) {
    return {};
  }
  try {
    return settle(ConfigLock(LONGEST_WAIT));
  } catch (const ConfigIsLocked&) {
    return {};
  }
}

}  // namespace Host
