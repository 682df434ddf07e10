/// \file present.h
/// Prints records for people and programs.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "common/answers/task_answers.h"
#include "common/runs/outcome.h"
#include "common/text/amounts.h"
#include "common/text/duration.h"
#include "table.h"

namespace Host {
struct Reason;
}

using Host::OwnerNames;
using Host::ownerNames;

/// Prints a value as indented JSON in UTF-8. Texts that are not UTF-8 also get a member with their bytes.
void printJson(const Json::Value& jValue);

/// Prints an array of objects one by one, as printJson() would print it whole. So it may have any length.
class JsonArray {
public:
  void add(const Json::Value& jItem);

  /// Prints what comes after the last one.
  void end() const;

private:
  bool m_blEmpty = true;
};

/// Prints a value as JSON in one line.
void printJsonLine(const Json::Value& jValue);

/// Flushes standard output. \throw Host::Failure when it cannot be written.
void flushOutput();

/// For commands that have changed something: that the result cannot be shown is only said.
void flushAfterChange();

/// Prints a note to standard error. Prints nothing for an empty text.
void printNote(const std::string& strText);

/// A time member as local time; "-" when it is missing or 0.
std::string timeText(const Json::Value& jRec, const char* szKey);

using Host::countText;
using Host::sizeText;

/// The colour of an outcome; null for none.
const char* outcomeColor(Host::Outcome::Kind kind);

/// Names as "a, b"; a dash for none.
std::string listText(const std::vector<std::string>& vecNames);

/// The tasks that a task waits for, as listText() has them, and whether it waits for their success.
std::string waitsForText(const Json::Value& jTask);
std::string waitsForText(const std::vector<std::string>& vecWaitsFor, bool blOnlyAfterSuccess);

/// Prints runs as a table.
void printRuns(const std::vector<Json::Value>& vecRuns, bool blColor);

/// Prints lines of "name: value", the values aligned.
void printFields(const std::vector<std::pair<std::string, std::string>>& vecFields);

/// Prints why a task is not started, with commands that help.
/// \param strSubject  the beginning of each line: the task, or "it".
void printReasons(const std::string& strSubject, const std::string& strTask,
                  const std::vector<Host::Reason>& vecReasons);
