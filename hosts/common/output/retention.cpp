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
#include "common/server/log_event.h"
#include "common/server/shares.h"
#include "common/store/records.h"
#include "common/store/run_rows.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"
#include "output_place.h"
#include "owner_part.h"
#include "run_folders.h"

namespace Host {

namespace {

/// A run folder exists before its run record; one without a record is kept that long.
constexpr Json::Int64 FRESH_SECONDS = 24 * 3600;

/// The store is not locked while folders are removed; records are deleted in portions of this size.
constexpr unsigned PORTION = 500;

using FolderKey = std::pair<std::string, Json::Int64>;  ///< folder of the task, and start time of the run

constexpr Json::Int64 AFTER_ALL = std::numeric_limits<Json::Int64>::max();

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
    for (const std::string& strTask : taskNames(m_session)) {
      pruneTask(strTask);
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
  bool isFolderNeeded(const std::string& strTask, const RunRow& run) {
    return !listRunRows(m_session,
                        fmt::format("task_name = {} and start_time = {} and result_id <> {}", sqlText(strTask),
                                    run.iStartTime, run.iRun),
                        1)
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

  /// The run folders of a task, by their start times: each with the task folder that contains it, which may be one that
  /// was moved aside.
  std::map<Json::Int64, std::string> runFoldersOf(const std::string& strTask) const {
    std::map<Json::Int64, std::string> mapFolders;
    for (const OutputPlace& place : m_vecPlaces) {
      for (const std::string& strFolder : place.foldersOf(strTask)) {
        const std::optional<TaskFolder> folder = readTaskFolder(place, strFolder);
        for (const Json::Int64 iStart : folder ? folder->vecStarts : std::vector<Json::Int64>()) {
          mapFolders.emplace(iStart, strFolder);
        }
      }
    }
    return mapFolders;
  }

  /// Runs before this number are not among the newest that are kept.
  Json::Int64 endOfOld(const std::string& strWhere, unsigned cKept) {
    if (cKept == KEEP_ALL) {
      return 0;
    }
    return cKept == 0 ? AFTER_ALL : lastOfNewest(m_session, strWhere, cKept);
  }

  /// Runs that have ended, without the newest failed ones.
  std::string whereEnded(const std::string& strOfTask) {
    const std::string strFailed = whereOutcome(Outcome::Kind::FAILED);
    return fmt::format("{} and stop_time is not null and not (result_id >= {} and {})", strOfTask,
                       endOfOld(strOfTask + " and " + strFailed, m_settings.cRetentionFailedRuns), strFailed);
  }

  void pruneTask(const std::string& strTask) {
    try {
      pruneRunsOf(strTask);
    } catch (const Failure& error) {
      m_result.vecProblems.push_back(fmt::format("runs of {} are kept: {}", strTask, error.what()));
    }
  }

  void pruneRunsOf(const std::string& strTask) {
    const std::string strOfTask = "task_name = " + sqlText(strTask);
    Json::Int64 iBefore = endOfOld(strOfTask, m_settings.cRetentionRuns);
    if (iBefore == 0) {
      return;
    }
    const std::string strEnded = whereEnded(strOfTask);
    const std::map<Json::Int64, std::string> mapFolders = runFoldersOf(strTask);
    for (;;) {
      // With one bound only, SQLite begins each portion where the one before ended.
      const std::vector<RunRow> vecRuns =
          listRunRows(m_session, fmt::format("{} and result_id < {}", strEnded, iBefore), PORTION);
      if (vecRuns.empty()) {
        return;
      }
      prunePortion(strTask, vecRuns, mapFolders);
      iBefore = vecRuns.back().iRun;
    }
  }

  /// The output is removed first: a record without output can still be found and removed later.
  void prunePortion(const std::string& strTask, const std::vector<RunRow>& vecRuns,
                    const std::map<Json::Int64, std::string>& mapFolders) {
    std::vector<Json::Int64> vecDone;
    for (auto itRun = vecRuns.rbegin(); itRun != vecRuns.rend(); ++itRun) {
      const RunRow& run = *itRun;
      const auto itFolder = mapFolders.find(run.iStartTime);
      const bool blFolder = itFolder != mapFolders.end();
      if (!blFolder && m_blPlaceAway) {
        ++m_cKept;
        continue;
      }
      try {
        const std::uint64_t cb =
            blFolder && !isFolderNeeded(strTask, run) ? removeFolder(itFolder->second, run.iStartTime) : 0;
        vecDone.push_back(run.iRun);
        m_result.queRuns.push_back({run.iRun, strTask, blFolder ? itFolder->second : strTask, run.iStartTime, cb});
      } catch (const Failure& error) {
        noteStuck(fmt::format("run {} is kept: {}", run.iRun, error.what()));
      }
    }
    if (!m_blDryRun) {
      deleteRuns(m_session, vecDone);
    }
  }

  /// All output that counts towards the limit, the oldest first. Output that the other rules remove does not
  /// count.
  std::vector<RunFolder> listAll() {
    std::set<FolderKey> setGone;
    for (const PrunedItem& item : m_result.queRuns) {
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
    vecSizes.reserve(mapSizes.size());
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
    m_result.queOutputs.push_back(
        {intOf(jRun, "result_id"), textOf(jRun, "task_name"), kept.strFolder, kept.iStartTime, kept.cb});
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

std::uint64_t PruneResult::bytes() const {
  std::uint64_t cb = 0;
  for (const auto* const pItems : {&queRuns, &queOutputs}) {
    for (const PrunedItem& item : *pItems) {
      cb += item.cb;
    }
  }
  return cb;
}

PruneResult pruneRuns(Session& session, const Settings& settings, bool blDryRun) {
  PruneResult result = Pruning(session, settings, blDryRun).run();
  if (!blDryRun && result.queRuns.size() + result.queOutputs.size() > 0) {
    logEvent(LogEvent::RUNS_PRUNED, std::to_string(result.queRuns.size()), std::to_string(result.queOutputs.size()),
             sizeText(result.bytes()));
  }
  return result;
}

}  // namespace Host
