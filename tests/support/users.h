/// \file users.h
/// Users that exist only in the private view of a test process.

#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// Adds a user, a primary group of the same name, and memberships in further groups, and creates the home folder.
/// \param strName  login name.
/// \param uid      user id.
/// \param gid      primary group; a group with this id is added if it does not exist.
/// \param others   ids of supplementary groups; missing ones are added as "group<ID>".
/// \param strHome  home folder; created, owned by the user. Empty: "/nonexistent", not created.
void addUser(const std::string& strName, uid_t uid, gid_t gid, const std::vector<gid_t>& others = {},
             const std::string& strHome = "");

}  // namespace OrvaTest
