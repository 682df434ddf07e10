#include "unfinished_rename.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <set>

#include "common/output/run_folders.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "task_change_lock.h"

namespace Host {

namespace {

/// Runs to compare: enough to find the task of a folder.
constexpr std::size_t MANY = 50;

class Search {
public:
  explicit Search(Session& session) : m_session(session) {
    for (const Json::Value& jTask : listTasks(session)) {
      m_mapOwners.emplace(textOf(jTask, "task_name"), intOf(jTask, "owner", -1));
    }
    std::vector<std::string> vecUnknown;
    m_vecPlaces = OutputPlace::places(vecUnknown);
  }

  std::vector<UnfinishedRename> run() {
    std::vector<UnfinishedRename> vecLost;
    for (const OutputPlace& place : m_vecPlaces) {
      try {
        searchPlace(place, vecLost);
      } catch (const Failure&) {
        // The checks report places that are not available.
        continue;
      }
    }
    return vecLost;
  }

private:
  void searchPlace(const OutputPlace& place, std::vector<UnfinishedRename>& vecLost) {
    for (const std::string& strFolder : listTaskFolders(place)) {
      // Folders of deleted tasks have names that no task can have.
      if (m_mapOwners.count(strFolder) > 0 || !whyNotTaskName(strFolder).empty()) {
        continue;
      }
      const std::optional<TaskFolder> folder = readTaskFolder(place, strFolder);
      if (const std::string strTask = folder ? taskOf(*folder) : std::string(); !strTask.empty()) {
        vecLost.push_back({place, strFolder, strTask, !readTaskFolder(place, strTask)});
      }
    }
  }

  /// The only task of the folder's owner that started a run at each of the times and has none of these folders itself.
  std::string taskOf(TaskFolder folder) {
    folder.vecStarts.resize(std::min(folder.vecStarts.size(), MANY));
    if (folder.vecStarts.empty()) {
      return {};
    }
    std::map<std::string, std::set<Json::Int64>> mapStarts;
    const std::string strWhere = fmt::format("start_time in ({})", fmt::join(folder.vecStarts, ", "));
    for (const Json::Value& jRun : listRuns(m_session, strWhere)) {
      mapStarts[textOf(jRun, "task_name")].insert(intOf(jRun, "start_time"));
    }
    std::vector<std::string> vecTasks;
    for (const auto& [strTask, setStarts] : mapStarts) {
      const auto itOwner = m_mapOwners.find(strTask);
      if (itOwner != m_mapOwners.end() && itOwner->second == static_cast<Json::Int64>(folder.owner) &&
          setStarts.size() == folder.vecStarts.size() && !hasOneOf(strTask, setStarts)) {
        vecTasks.push_back(strTask);
      }
    }
    return vecTasks.size() == 1 ? vecTasks.front() : std::string();
  }

  bool hasOneOf(const std::string& strTask, const std::set<Json::Int64>& setStarts) const {
    return std::any_of(m_vecPlaces.begin(), m_vecPlaces.end(), [&](const OutputPlace& place) {
      const std::optional<TaskFolder> folder = readTaskFolder(place, strTask);
      return folder && std::any_of(folder->vecStarts.begin(), folder->vecStarts.end(),
                                   [&](Json::Int64 iStart) { return setStarts.count(iStart) > 0; });
    });
  }

  Session& m_session;
  std::map<std::string, Json::Int64> m_mapOwners;
  std::vector<OutputPlace> m_vecPlaces;
};

}  // namespace

std::vector<UnfinishedRename> findUnfinishedRenames(Session& session) {
  if (Search(session).run().empty()) {
    return {};
  }
  // A rename holds this lock from before the move to the end of the commit.
  const WriteLock lock(session);
  return Search(session).run();
}

std::vector<UnfinishedRename> finishRenames(Session& session) {
  std::vector<UnfinishedRename> vecReturned;
  for (const UnfinishedRename& lost : findUnfinishedRenames(session)) {
    if (!lost.blFree) {
      continue;
    }
    const TaskChange change(session, {lost.strTask, lost.strFolder}, "given its output back");
    const WriteLock lock(session);
    const std::vector<UnfinishedRename> vecNow = Search(session).run();
    const bool blStill = std::any_of(vecNow.begin(), vecNow.end(), [&](const UnfinishedRename& now) {
      return now.path() == lost.path() && now.strTask == lost.strTask && now.blFree;
    });
    if (blStill && !lost.place.rename(lost.strFolder, lost.strTask).empty()) {
      vecReturned.push_back(lost);
    }
  }
  return vecReturned;
}

}  // namespace Host
