/// \file users.h
/// Users by name or id.

#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace Host {

/// Finds a user by name.
std::optional<uid_t> findUserByName(const std::string& strUser);

/// Finds a user by name, or else reads a user id, which need not exist.
/// \return nothing when it is neither a name nor an id.
std::optional<uid_t> findUser(const std::string& strUser);

/// The name of a user; empty when the id is unknown. \throw Failure when the user cannot be looked up.
std::string userName(uid_t uid);

}  // namespace Host
