#include "server_facts.h"

#include <cstring>
#include <fmt/format.h>

#include "common/events/event_catalogue.h"
#include "common/server/folder_entry.h"
#include "common/server/users.h"
#include "common/text/suggestion.h"
#include "script_check.h"

namespace Host {

const std::set<std::string>& ServerFacts::namedEvents() {
  if (m_setNamed.empty()) {
    for (const Event& event : Host::namedEvents()) {
      m_setNamed.insert(event.strName);
    }
  }
  return m_setNamed;
}

void ServerFacts::addEvent(const std::string& strEvent) {
  m_setAdded.insert(strEvent);
}

bool ServerFacts::isKnownEvent(const std::string& strEvent) {
  return m_setAdded.count(strEvent) > 0 || namedEvents().count(strEvent) > 0;
}

std::string ServerFacts::similarEvents(const std::string& strEvent) {
  std::set<std::string> setKnown = namedEvents();
  setKnown.insert(m_setAdded.begin(), m_setAdded.end());
  return didYouMean(strEvent, {setKnown.begin(), setKnown.end()});
}

const std::string& ServerFacts::scriptFolderWarning() {
  if (!m_strFolderWarning) {
    m_strFolderWarning = warnAboutScriptFolder();
  }
  return *m_strFolderWarning;
}

const std::string& ServerFacts::folderWarning(uid_t uid, const std::string& strFolder) {
  const auto [it, blNew] = m_mapFolders.try_emplace({uid, strFolder});
  if (const int iError = blNew ? folderEntryError(uid, strFolder) : 0; iError != 0) {
    it->second =
        fmt::format("{} cannot enter {} now: {}; a run fails then", userName(uid), strFolder, std::strerror(iError));
  }
  return it->second;
}

const std::string& ServerFacts::userName(uid_t uid) {
  const auto [it, blNew] = m_mapUsers.try_emplace(uid);
  if (blNew) {
    it->second = Host::userName(uid);
  }
  return it->second;
}

}  // namespace Host
