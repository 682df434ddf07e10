/// \file task_request.h
/// The members of a task as users type them, in the form of the user interface.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Gives `owner` for a user typed by name or by id: an object of one member, the uid in decimal, whose value is the
/// user's name. An unknown user is passed on as typed, so that the rules report it together with everything else.
Json::Value ownerFrom(const std::string& strTyped);

/// Gives the name of an owner in that form; empty when there is no such user.
/// \param strUid  receives the uid in decimal; stays as it is when the value is no owner.
std::string ownerName(const Json::Value& jOwner, std::string& strUid);

/// Decodes a script that JSON has as base64, because it is not UTF-8, and sets it as `operation`.
/// \throw Failure when it is not base64.
void takeScriptBytes(Json::Value& jTask);

/// Removes the blanks around the parts of a list: people write "a, b", and "a,b" is stored.
std::string withoutBlanks(const std::string& strList);

}  // namespace Host
