/// \file users.h
/// Users by name or user id.

#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace Host {

/// Finds a user by name, or reads a user id, which need not exist; nothing when it is neither.
std::optional<uid_t> findUser(const std::string& strUser);

/// The name of a user; empty when there is none with that id.
std::string userName(uid_t uid);

}  // namespace Host
