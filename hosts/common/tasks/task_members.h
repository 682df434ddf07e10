/// \file task_members.h
/// The members of a task record that a request may set, in the form of the user interface.

#pragma once

#include <json/value.h>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// The word by which users know a member, as in the options of the command: "waits for" for `depend_on_task`.
std::string memberWord(const std::string& strMember);

/// The words of several members, each once.
std::vector<std::string> memberWords(const std::vector<std::string>& vecMembers);

/// Finds members that are missing, of the wrong type, or none that a request may set.
/// \param jTask  object: a task record.
/// \return each such member, and what is wrong with it.
std::vector<std::pair<std::string, std::string>> wrongMembers(const Json::Value& jTask);

/// Adds the missing members that have a default.
/// \param jTask  object: a task record in the form of the user interface; changed in place.
void fillDefaults(Json::Value& jTask);

/// Sets members of a record, in place of those that are there.
void setMembers(Json::Value& jTask, const Json::Value& jChanges);

/// Gives the members of a stored record that a request may set, in the form of the user interface: `owner` is an
/// object of one member, the uid in decimal, whose value is the user's name, or empty when there is no such user. If
/// the user id is no longer that of the stored name, the member is this name, and its value empty: as for an unknown
/// user.
Json::Value requestOf(const Json::Value& jStored);

}  // namespace Host
