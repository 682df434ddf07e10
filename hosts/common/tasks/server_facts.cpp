#include "server_facts.h"

#include "common/events/event_catalogue.h"
#include "common/server/users.h"
#include "script_check.h"

namespace Host {

bool ServerFacts::isCatalogueEvent(const std::string& strEvent) {
  if (!m_setEvents) {
    m_setEvents.emplace();
    for (const Event& event : eventCatalogue()) {
      m_setEvents->insert(event.strName);
    }
  }
  return m_setEvents->count(strEvent) > 0;
}

const std::string& ServerFacts::scriptFolderWarning() {
  if (!m_strFolderWarning) {
    m_strFolderWarning = warnAboutScriptFolder();
  }
  return *m_strFolderWarning;
}

const std::string& ServerFacts::userName(uid_t uid) {
  const auto [it, blNew] = m_mapUsers.try_emplace(uid);
  if (blNew) {
    it->second = Host::userName(uid);
  }
  return it->second;
}

}  // namespace Host
