/// \file hostile_json.h
/// Values that no caller should send, and valid requests with something wrong in them.

#pragma once

#include <json/value.h>
#include <string>

#include "conformance/property/choices.h"

namespace OrvaTest {

/// Any text: empty, long, with NUL, quotes, brackets, patterns, format directives, paths, broken UTF-8.
std::string hostileText(Choices& choices);

/// Any value: numbers at and beyond every limit, NaN, texts as above, arrays and objects of them, and now and then
/// a nesting on both sides of the 1,000 levels that the JSON reader accepts.
Json::Value hostileValue(Choices& choices);

/// A valid object or array with up to three changes at any depth: a place is dropped, added, or replaced by a hostile
/// value. About one in four is unchanged; one in sixteen is replaced as a whole.
Json::Value spoiled(Choices& choices, const Json::Value& jValid);

/// The text of a file for that value: correct, cut short, followed by garbage, with a duplicate member, or not JSON.
std::string hostileFileText(Choices& choices, const Json::Value& jValid);

}  // namespace OrvaTest
