/// \file users.h
/// Users as people type them: by name or by number.

#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace Host {

/// Finds a user by name, or reads a number; nothing when it is neither. A number need not be that of a user.
std::optional<uid_t> findUser(const std::string& strUser);

/// The name of a user; empty when there is none with that id.
std::string userName(uid_t uid);

}  // namespace Host
