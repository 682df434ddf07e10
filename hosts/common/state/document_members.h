/// \file document_members.h
/// The members of a task in a document. They have the names and the units of the command's options, and other names
/// than in a record.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// Gives the members of a record whose values are not the defaults, as a document has them. The event, the owner, the
/// dependencies and the script are not among them.
Json::Value documentMembers(const Json::Value& jTask);

/// Gives the members of a record from those of a document. The values are not checked.
Json::Value recordMembers(const Json::Value& jFile);

/// Replaces names that documents had before by those that they have now.
/// \param vecErrors  receives a sentence for each member that has both names.
Json::Value withPresentNames(Json::Value jFile, std::vector<std::string>& vecErrors);

}  // namespace Host
