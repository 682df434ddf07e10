/// \file reason_text.h
/// Reasons in words.

#pragma once

#include <json/value.h>
#include <string>
#include <string_view>
#include <vector>

#include "common/reasons/reason.h"

namespace Host {

/// Continues a sentence that begins with the name of the task: "is disabled".
std::string reasonText(const Reason& reason);

/// In few words, for a summary: "disabled".
std::string reasonWord(const Reason& reason);

/// The command to type; empty when there is none.
/// \param strTask  the task that is not started.
std::string reasonAdvice(const std::string& strTask, const Reason& reason);

/// For programs: `code`, `text`, `advice` and `other_task`.
Json::Value reasonForPrograms(const std::string& strTask, const Reason& reason);
Json::Value reasonsForPrograms(const std::string& strTask, const std::vector<Reason>& vecReasons);

/// A text with a member of an object in the place of each "{name}"; absent members are empty, arrays are joined by ",
/// ".
std::string filledIn(std::string_view strText, const Json::Value& jMembers);

/// Like filledIn(), for a command: each member becomes one word of the shell.
std::string filledInCommand(std::string_view strCommand, const Json::Value& jMembers);

}  // namespace Host
