/// \file retention.h
/// How long runs and their output are kept.
///
/// Of each task the newest runs are kept, and the newest failed ones besides; what all kept output takes together has
/// a limit, and the oldest output goes first. A run that goes on is never touched.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <string>
#include <vector>

#include "common/config/settings.h"

namespace Host {

class Session;

/// Member of a run's `extra`: when its output was removed although its record was kept.
inline constexpr char OUTPUT_REMOVED[] = "output_removed";

/// Something that the rules removed, or would remove.
struct PrunedItem {
  /// The name of the task; of its folder when the run has no record.
  std::string task() const;

  Json::Value jRun;       ///< the run record; null for output without a run record
  std::string strFolder;  ///< folder of the task, and the next: of the run in it
  Json::Int64 iStartTime = 0;
  std::uint64_t cb = 0;  ///< room that the output took
};

struct PruneResult {
  /// The room that all of it took.
  std::uint64_t bytes() const;

  std::vector<PrunedItem> vecRuns;       ///< runs: record and output
  std::vector<PrunedItem> vecOutputs;    ///< output alone
  std::vector<std::string> vecProblems;  ///< what could not be removed, and why; it stays on record
};

/// Applies the rules.
/// \param blDryRun  true: nothing is removed.
PruneResult pruneRuns(Session& session, const Settings& settings, bool blDryRun);

}  // namespace Host
