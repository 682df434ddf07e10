/// \file present.h
/// Records in the form in which people, and programs, read them.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "common/answers/task_answers.h"
#include "common/runs/outcome.h"
#include "common/text/amounts.h"
#include "table.h"

namespace Host {
struct Reason;
}

using Host::OwnerNames;
using Host::ownerNames;


/// Writes a value as indented JSON in UTF-8 to standard output, with the bytes besides of texts that are none.
void printJson(const Json::Value& jValue);

/// Writes a value as JSON in one line to standard output.
void printJsonLine(const Json::Value& jValue);

/// What was shown but could not be written must not look like success. \throw Host::Failure then.
void flushOutput();

/// Writes a line to standard error, for what is no data and no failure. An empty text writes nothing.
void printNote(const std::string& strText);

/// A time member as local time; a dash when it is absent or 0.
std::string timeText(const Json::Value& jRec, const char* szKey);

using Host::durationText;
using Host::sizeText;

/// The colour of an outcome; null for none.
const char* outcomeColor(Host::Outcome::Kind kind);

/// The tasks that a task waits for, as "a, b"; a dash for none.
std::string needsText(const Json::Value& jTask);


/// Run records as a table.
void printRuns(const std::vector<Json::Value>& vecRuns, const OwnerNames& owners, bool blColor);

/// Lines of "name: value", the values aligned.
void printFields(const std::vector<std::pair<std::string, std::string>>& vecFields);

/// Why a task is not started: a line for each reason, and the command to type under it.
/// \param strSubject  what the lines begin with: the task, or "it".
void printReasons(const std::string& strSubject, const std::string& strTask,
                  const std::vector<Host::Reason>& vecReasons);
