/// \file notifier.h
/// The parts of orvakbvnotify.

#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace orva {

/// Login names of a group's members: the users that the group lists, and the users whose primary group it is. The group
/// "administrators" is root and the system group in the setting `administratorsgroup`.
/// \return nothing when there is no such group.
std::optional<std::vector<std::string>> groupMembers(const std::string& strGroup);

/// The text of a key, from the section "notify", in the server's language or else in English; nothing without a text.
std::optional<std::string> notificationText(const std::string& strKey);

/// Decides whether a key may be sent again, and counts it if not. Each key has a lock, so only one of two calls at the
/// same time sends.
/// \param now         Unix seconds.
/// \param cSuppressed receives the number of notices held back since the last sent one.
/// \return true when it may be sent, also when the state cannot be stored.
bool admitNotification(const std::string& strKey, std::time_t now, unsigned& cSuppressed);

/// Tells whether a text can name a group or a key: letters, digits, "_", "-" and ".", not beginning with "." or "-".
bool isPlainName(const std::string& strName);

}  // namespace orva
