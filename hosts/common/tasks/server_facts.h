/// \file server_facts.h
/// Facts about the server that the rules for tasks need.

#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>

namespace Host {

/// Facts about the server that the rules ask for; each is looked up once for many tasks.
class ServerFacts {
public:
  bool isCatalogueEvent(const std::string& strEvent);

  /// Why scripts could not be started in their folder; empty when they can.
  const std::string& scriptFolderWarning();

  /// Empty when there is no such user.
  const std::string& userName(uid_t uid);

private:
  std::optional<std::set<std::string>> m_setEvents;
  std::optional<std::string> m_strFolderWarning;
  std::map<uid_t, std::string> m_mapUsers;
};

}  // namespace Host
