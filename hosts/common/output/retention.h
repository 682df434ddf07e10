/// \file retention.h
/// Removes old runs and their output.
///
/// Of each task, the newest runs and the newest failed runs are kept. The output of all runs together has a size limit,
/// which the owners share (see owner_part.h). Of an owner who has more than his part, the oldest output is removed
/// first. Open runs are never removed.

#pragma once

#include <cstdint>
#include <deque>
#include <json/value.h>
#include <string>
#include <vector>

#include "common/config/settings.h"

namespace Host {

class Session;

/// Member of `extra` in a run record that was kept: when the output was removed.
inline constexpr char OUTPUT_REMOVED[] = "output_removed";

/// A run, or output, that was removed or would be.
struct PrunedItem {
  /// The name of the task; of its folder when the run has no record.
  const std::string& task() const { return iRun != 0 ? strTask : strFolder; }

  Json::Int64 iRun = 0;   ///< the number of the run; 0 for output without a run record
  std::string strTask;    ///< empty without a run record
  std::string strFolder;  ///< task folder; the next member names the run folder in it
  Json::Int64 iStartTime = 0;
  std::uint64_t cb = 0;  ///< size of the output
};

struct PruneResult {
  /// The size of all removed output.
  std::uint64_t bytes() const;

  std::deque<PrunedItem> queRuns;        ///< runs: record and output
  std::deque<PrunedItem> queOutputs;     ///< output alone
  std::vector<std::string> vecProblems;  ///< runs and output that could not be removed, and why
};

/// Removes the runs and output that the settings do not keep.
/// \param blDryRun  true: removes nothing.
PruneResult pruneRuns(Session& session, const Settings& settings, bool blDryRun);

}  // namespace Host
