#include "event_relations.h"

#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/store/records.h"
#include "common/store/session.h"
#include "dependency_list.h"
#include "name_match.h"

namespace Host {

namespace {

/// The tasks that wait for others.
class Waiting {
public:
  explicit Waiting(std::vector<WaitingTask> vecTasks) : m_vecTasks(std::move(vecTasks)) {
    for (const WaitingTask& task : m_vecTasks) {
      m_mapNeeds[task.strName] = readDependencyList(task.strDepend);
      for (const std::string& strNeed : bracketed(task.strDepend)) {
        m_mapDependants[strNeed].push_back(task.strName);
      }
    }
  }

  /// The tasks that the library finds when it looks for those that wait for a name.
  std::vector<std::string> dependantsOf(const std::string& strName) const {
    // Otherwise the name is what stands between two brackets.
    if (!isPattern(strName) && strName.find_first_of("[]") == std::string::npos) {
      const auto it = m_mapDependants.find(folded(strName));
      return it == m_mapDependants.end() ? std::vector<std::string>() : it->second;
    }
    std::vector<std::string> vecNames;
    for (const WaitingTask& task : m_vecTasks) {
      if (matches(dependantPattern(strName), task.strDepend)) {
        vecNames.push_back(task.strName);
      }
    }
    return vecNames;
  }

  /// The names that a task waits for.
  std::vector<std::string> needsOf(const std::string& strName) const {
    const auto it = m_mapNeeds.find(strName);
    return it == m_mapNeeds.end() ? std::vector<std::string>() : it->second;
  }

private:
  /// All texts without a bracket between two brackets, in small letters.
  static std::vector<std::string> bracketed(const std::string& strDepend) {
    std::vector<std::string> vecTexts;
    for (std::size_t iOpen = strDepend.find('['); iOpen != std::string::npos; iOpen = strDepend.find('[', iOpen + 1)) {
      const std::size_t iEnd = strDepend.find_first_of("[]", iOpen + 1);
      if (iEnd != std::string::npos && strDepend[iEnd] == ']') {
        vecTexts.push_back(folded(strDepend.substr(iOpen + 1, iEnd - iOpen - 1)));
      }
    }
    return vecTexts;
  }

  std::vector<WaitingTask> m_vecTasks;
  std::unordered_map<std::string, std::vector<std::string>> m_mapNeeds;
  std::unordered_map<std::string, std::vector<std::string>> m_mapDependants;
};

/// Adds the names that a step leads to, and those to which it leads from there.
template <typename Step>
void addReached(std::set<std::string>& setNames, const Step& step) {
  std::vector<std::string> vecNames(setNames.begin(), setNames.end());
  for (std::size_t i = 0; i < vecNames.size(); ++i) {
    for (std::string& strNext : step(vecNames[i])) {
      if (setNames.insert(strNext).second) {
        vecNames.push_back(std::move(strNext));
      }
    }
  }
}

/// Names to which others are compared.
class LikeNames {
public:
  explicit LikeNames(const std::set<std::string>& setNames) : m_setNames(setNames) {
    for (const std::string& strName : setNames) {
      m_setFolded.insert(folded(strName));
      if (isPattern(strName)) {
        m_vecPatterns.push_back(strName);
      }
    }
  }

  /// Tells whether the library could take one of them for the other name, or the reverse.
  bool has(const std::string& strOther) const {
    return m_setFolded.count(folded(strOther)) > 0 ||
           std::any_of(m_vecPatterns.begin(), m_vecPatterns.end(),
                       [&](const std::string& strPattern) { return matches(strPattern, strOther); }) ||
           (isPattern(strOther) && std::any_of(m_setNames.begin(), m_setNames.end(),
                                               [&](const std::string& strName) { return matches(strOther, strName); }));
  }

private:
  const std::set<std::string>& m_setNames;
  std::unordered_set<std::string> m_setFolded;
  std::vector<std::string> m_vecPatterns;
};

}  // namespace

Json::Value listEventRelations(Session& session, const std::string& strEvent) {
  const Snapshot snapshot(session);
  const std::vector<std::string> vecOwn = taskNames(session, strEvent);
  std::set<std::string> setNames(vecOwn.begin(), vecOwn.end());
  const Waiting waiting(waitingTasks(session));
  addReached(setNames, [&](const std::string& strName) { return waiting.dependantsOf(strName); });
  addReached(setNames, [&](const std::string& strName) { return waiting.needsOf(strName); });
  const LikeNames like(setNames);
  std::set<std::string> setAll = setNames;
  for (std::string& strOther : taskNames(session)) {
    if (like.has(strOther)) {
      setAll.insert(std::move(strOther));
    }
  }
  return listRelations(session, setAll);
}

}  // namespace Host
