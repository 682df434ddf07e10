#include "joint_change.h"

#include <fmt/format.h>
#include <limits>
#include <optional>

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// The number is in the header of the database, so it needs no table.
std::int64_t changeNumber(Connection store) {
  return std::stoll(firstText(store, "pragma application_id", DATABASE_PATH));
}

/// \return nothing while another process changes the configuration.
std::optional<ConfigLock> lockNow() {
  try {
    return std::optional<ConfigLock>(std::in_place, std::chrono::milliseconds(0));
  } catch (const Failure&) {
    return std::nullopt;
  }
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

std::string settleInterruptedChange() {
  if (!isConfigChangeNoted()) {
    return {};
  }
  const std::optional<ConfigLock> lock = lockNow();
  if (!lock) {
    return {};
  }
  const UnfinishedChange change = readConfigChange(*lock);
  const bool blCounts = change.iChange == 0 || changeNumber(openStore()) == change.iChange;
  if (!blCounts) {
    undoConfigChange(change);
    return "an interrupted change of the tasks and the configuration was undone";
  }
  finishConfigChange(change);
  return change.mapDrafts.empty() ? "" : "an interrupted change of the configuration was finished";
}

}  // namespace Host
