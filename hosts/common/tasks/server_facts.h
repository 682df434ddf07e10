/// \file server_facts.h
/// Facts about the server that the rules for tasks need.

#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>

namespace Host {

/// Facts about the server that the rules ask for; each is looked up once for many tasks.
class ServerFacts {
public:
  /// Makes an event known that has tasks, or is about to be added.
  void addEvent(const std::string& strEvent);

  /// Tells whether an event is in the catalogue, or was added.
  bool isKnownEvent(const std::string& strEvent);

  /// A suggestion for an unknown event, as didYouMean() gives it.
  std::string similarEvents(const std::string& strEvent);

  /// Why scripts could not be started in their folder; empty when they can.
  const std::string& scriptFolderWarning();

  /// Says that a user cannot enter a folder now; empty when the user can.
  const std::string& folderWarning(uid_t uid, const std::string& strFolder);

  /// Empty when there is no such user.
  const std::string& userName(uid_t uid);

private:
  const std::set<std::string>& namedEvents();

  std::set<std::string> m_setNamed;
  std::set<std::string> m_setAdded;
  std::optional<std::string> m_strFolderWarning;
  std::map<uid_t, std::string> m_mapUsers;
  std::map<std::pair<uid_t, std::string>, std::string> m_mapFolders;
};

}  // namespace Host
