#include "retention.h"

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "common/coordination/prune_problems.h"
#include "common/runs/outcome.h"
#include "common/server/shares.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "output_place.h"
#include "owner_part.h"
#include "run_folders.h"

namespace Host {

namespace {

/// A run folder exists before its run record; one without a record is kept that long.
constexpr Json::Int64 FRESH_SECONDS = 24 * 3600;

/// The store is not locked while folders are removed; records are deleted in portions of this size.
constexpr unsigned PORTION = 200;

using RunKey = std::pair<std::string, Json::Int64>;  ///< task and start time, which name the folder of a run

RunKey keyOf(const Json::Value& jRun) {
  return {textOf(jRun, "task_name"), intOf(jRun, "start_time")};
}

std::string newestOf(const std::string& strWhere, unsigned cRuns) {
  return fmt::format("(select result_id from task_result where {} order by result_id desc limit {})", strWhere,
                     cRuns == KEEP_ALL ? -1 : static_cast<Json::Int64>(cRuns));
}

class Pruning {
public:
  Pruning(Session& session, const Settings& settings, bool blDryRun)
      : m_session(session), m_settings(settings), m_blDryRun(blDryRun) {
    std::vector<std::string> vecUnknown;
    m_vecPlaces = OutputPlace::places(vecUnknown);
    for (const std::string& strPlace : vecUnknown) {
      notePlace(strPlace);
    }
  }

  PruneResult run() {
    for (const Json::Value& jTask : listTasks(m_session)) {
      pruneTask(textOf(jTask, "task_name"));
    }
    if (m_settings.cbRetentionOutput != 0) {
      pruneOutput();
    }
    if (m_cKept > 0) {
      m_result.vecProblems.push_back(
          m_cKept == 1 ? "1 run is kept: its output may be in an output folder that is not available"
                       : fmt::format("{} runs are kept: their output may be in an output folder that is not available",
                                     m_cKept));
    }
    if (!m_blDryRun) {
      notePruneProblems(m_vecStuck);
    }
    return std::move(m_result);
  }

private:
  /// Something that cannot be removed.
  void noteStuck(std::string strProblem) {
    m_result.vecProblems.push_back(strProblem);
    m_vecStuck.push_back(std::move(strProblem));
  }

  /// A share that is defined but missing may come back with its output.
  void notePlace(const std::string& strPlace) {
    const std::string strShare = strPlace.substr(0, strPlace.find('/'));
    if (isShareDefined(strShare)) {
      m_blPlaceAway = true;
      m_result.vecProblems.push_back(fmt::format("the output folder \"{}\" is not available: the share \"{}\": {}",
                                                 strPlace, strShare, whyShareUnusable(strShare)));
    } else {
      m_result.vecProblems.push_back(
          fmt::format("the share of the former output path \"{}\" no longer exists", strPlace));
    }
  }

  /// When the clock is set back, two runs of a task can share a folder.
  bool isFolderNeeded(const Json::Value& jRun) {
    const auto [strTask, iStart] = keyOf(jRun);
    return !listRuns(m_session, fmt::format("task_name = {} and start_time = {} and result_id <> {}", sqlText(strTask),
                                            iStart, intOf(jRun, "result_id")))
                .empty();
  }

  std::uint64_t removeFolder(const std::string& strFolder, Json::Int64 iStart) {
    std::uint64_t cb = 0;
    for (const OutputPlace& place : m_vecPlaces) {
      cb += sizeOfKeptOutput(place, strFolder, iStart);
      if (!m_blDryRun) {
        removeKeptOutput(place, strFolder, iStart);
      }
    }
    return cb;
  }

  /// The task folder, or one that was moved aside, that contains the run folder; the task folder when none does.
  /// \return nothing when it may be on a share that is missing.
  std::optional<std::string> folderOf(const std::string& strTask, Json::Int64 iStart) const {
    for (const OutputPlace& place : m_vecPlaces) {
      for (const std::string& strFolder : place.foldersOf(strTask)) {
        if (hasKeptOutput(place, strFolder, iStart)) {
          return strFolder;
        }
      }
    }
    return m_blPlaceAway ? std::nullopt : std::optional(strTask);
  }

  void pruneTask(const std::string& strTask) {
    const std::string strOfTask = "task_name = " + sqlText(strTask);
    const std::string strVictims = fmt::format(
        "{} and stop_time is not null and result_id not in {} and result_id not in {}", strOfTask,
        newestOf(strOfTask, m_settings.cRetentionRuns),
        newestOf(strOfTask + " and " + whereOutcome(Outcome::Kind::FAILED), m_settings.cRetentionFailedRuns));
    // Removing old runs does not change which runs are the newest, so portions can be read one by one.
    Json::Int64 iBefore = std::numeric_limits<Json::Int64>::max();
    for (Json::Value jRuns;;) {
      jRuns = listRuns(m_session, fmt::format("{} and result_id < {}", strVictims, iBefore), PORTION);
      if (jRuns.empty()) {
        return;
      }
      iBefore = intOf(jRuns[0U], "result_id");
      prunePortion(jRuns);
    }
  }

  /// The output is removed first: a record without output can still be found and removed later.
  void prunePortion(const Json::Value& jRuns) {
    std::vector<PrunedItem> vecDone;
    for (const Json::Value& jRun : jRuns) {
      try {
        const auto [strTask, iStart] = keyOf(jRun);
        const std::optional<std::string> folder = folderOf(strTask, iStart);
        if (!folder) {
          ++m_cKept;
          continue;
        }
        const std::uint64_t cb = isFolderNeeded(jRun) ? 0 : removeFolder(*folder, iStart);
        vecDone.push_back({jRun, *folder, iStart, cb});
      } catch (const Failure& error) {
        noteStuck(fmt::format("run {} is kept: {}", intOf(jRun, "result_id"), error.what()));
      }
    }
    if (!m_blDryRun) {
      removeRecords(vecDone);
    }
    m_result.vecRuns.insert(m_result.vecRuns.end(), vecDone.begin(), vecDone.end());
  }

  void removeRecords(const std::vector<PrunedItem>& vecItems) {
    WriteLock lock(m_session);
    for (const PrunedItem& item : vecItems) {
      if (m_session.runs()->recDelete(item.jRun, false) < 0) {
        throw Failure(fmt::format("cannot remove the record of run {}", intOf(item.jRun, "result_id")));
      }
    }
    lock.commit();
  }

  /// All output that counts towards the limit, the oldest first. Output that the other rules remove does not
  /// count.
  std::vector<RunFolder> listAll() {
    std::set<RunKey> setGone;
    for (const PrunedItem& item : m_result.vecRuns) {
      setGone.emplace(item.strFolder, item.iStartTime);
    }
    std::vector<RunFolder> vecKept;
    for (const OutputPlace& place : m_vecPlaces) {
      try {
        for (RunFolder& kept : listRunFolders(place)) {
          if (setGone.count({kept.strFolder, kept.iStartTime}) == 0 && counts(kept)) {
            vecKept.push_back(std::move(kept));
          }
        }
      } catch (const Failure& error) {
        m_result.vecProblems.emplace_back(error.what());
      }
    }
    std::sort(vecKept.begin(), vecKept.end(), [](const RunFolder& left, const RunFolder& right) {
      return std::tie(left.iSince, left.strFolder) < std::tie(right.iSince, right.strFolder);
    });
    return vecKept;
  }

  /// The run of a folder, the newest of several; null when there is none.
  Json::Value runOf(const RunFolder& kept) {
    const Json::Value jRuns =
        listRuns(m_session, fmt::format("task_name = {} and start_time = {}",
                                        sqlText(OutputPlace::taskOf(kept.strFolder)), kept.iStartTime));
    return jRuns.empty() ? Json::Value() : jRuns[jRuns.size() - 1];
  }

  /// A folder without a record may not be a run folder at all, or its record is not written
  /// yet.
  static bool isLeftOver(const RunFolder& kept) {
    return kept.blOnlyRunFiles && kept.iSince + FRESH_SECONDS < static_cast<Json::Int64>(std::time(nullptr));
  }

  /// Output that is never removed does not count towards the limit.
  bool counts(const RunFolder& kept) { return isLeftOver(kept) || runOf(kept).isObject(); }

  static bool mayRemove(const RunFolder& kept, const Json::Value& jRun) {
    return jRun.isObject() ? jRun.isMember("stop_time") : isLeftOver(kept);
  }

  /// Each owner has a part of the limit. What cannot be removed counts only against its owner.
  void pruneOutput() {
    const std::vector<RunFolder> vecKept = listAll();
    std::map<uid_t, std::uint64_t> mapSizes;
    for (const RunFolder& kept : vecKept) {
      mapSizes[kept.owner] += kept.cb;
    }
    std::vector<std::uint64_t> vecSizes;
    for (const auto& [owner, cb] : mapSizes) {
      vecSizes.push_back(cb);
    }
    const std::uint64_t cbPart = partOfOwner(vecSizes, m_settings.cbRetentionOutput);
    for (const RunFolder& kept : vecKept) {
      std::uint64_t& cbOwner = mapSizes[kept.owner];
      if (cbOwner <= cbPart) {
        continue;
      }
      const Json::Value jRun = runOf(kept);
      if (mayRemove(kept, jRun) && pruneOneOutput(kept, jRun)) {
        cbOwner -= kept.cb;
      }
    }
  }

  bool pruneOneOutput(const RunFolder& kept, const Json::Value& jRun) {
    try {
      removeFolder(kept.strFolder, kept.iStartTime);
      if (jRun.isObject() && !m_blDryRun) {
        noteRemoval(jRun);
      }
    } catch (const Failure& error) {
      noteStuck(fmt::format("the output in {}/{} is kept: {}", kept.strFolder, kept.iStartTime, error.what()));
      return false;
    }
    m_result.vecOutputs.push_back({jRun, kept.strFolder, kept.iStartTime, kept.cb});
    return true;
  }

  /// Records when the output was removed, for messages about it.
  void noteRemoval(const Json::Value& jRun) {
    Json::Value jFilter(Json::objectValue);
    jFilter["result_id"] = jRun["result_id"];
    Json::Value jUpdate(Json::objectValue);
    jUpdate["extra"] = memberOf(jRun, "extra").isObject() ? jRun["extra"] : Json::Value(Json::objectValue);
    jUpdate["extra"][OUTPUT_REMOVED] = static_cast<Json::Int64>(std::time(nullptr));
    if (m_session.runs()->recUpdateByFilter(jFilter, jUpdate) < 0) {
      throw Failure(fmt::format("cannot change the record of run {}", intOf(jRun, "result_id")));
    }
  }

  Session& m_session;
  const Settings& m_settings;
  const bool m_blDryRun;
  std::vector<OutputPlace> m_vecPlaces;
  bool m_blPlaceAway = false;  ///< the share of a place is defined, but not available
  std::size_t m_cKept = 0;     ///< runs that are kept because of it
  std::vector<std::string> m_vecStuck;
  PruneResult m_result;
};

}  // namespace

std::string PrunedItem::task() const {
  return jRun.isObject() ? textOf(jRun, "task_name") : strFolder;
}

std::uint64_t PruneResult::bytes() const {
  std::uint64_t cb = 0;
  for (const auto* const pItems : {&vecRuns, &vecOutputs}) {
    for (const PrunedItem& item : *pItems) {
      cb += item.cb;
    }
  }
  return cb;
}

PruneResult pruneRuns(Session& session, const Settings& settings, bool blDryRun) {
  return Pruning(session, settings, blDryRun).run();
}

}  // namespace Host
