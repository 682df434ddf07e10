/// \file notifier.h
/// The parts of orvakbvnotify.

#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace orva {

/// Login names of a group's members: those whom the group lists, and those whose primary group it is. The group
/// "administrators" stands for the system group that the setting `administratorsgroup` names, and has root too.
/// \return nothing when there is no such group.
std::optional<std::vector<std::string>> groupMembers(const std::string& strGroup);

/// The text of a key, from the section "notify", in the server's language or else in English; nothing when it has
/// none in either.
std::optional<std::string> notificationText(const std::string& strKey);

/// Decides whether a key may be sent again, and counts it when not. One lock a key: of two calls at the same moment
/// one sends.
/// \param now         Unix seconds.
/// \param cSuppressed receives how many were not sent since the last one that was.
/// \return true when it may be sent, also when the state cannot be kept.
bool admitNotification(const std::string& strKey, std::time_t now, unsigned& cSuppressed);

/// What may be the name of a group or a key: letters, digits, "_", "-" and ".", not first a "." or "-".
bool isPlainName(const std::string& strName);

}  // namespace orva
