/// \file name_match.h
/// How the store compares the names of tasks: "_" stands for any character, "%" for any characters, and ASCII letters
/// match without regard to case.

#pragma once

#include <string>

namespace Host {

bool matches(const std::string& strPattern, const std::string& strText);

/// The name in small letters: names without a pattern match when this is the same.
std::string folded(std::string strName);

/// The pattern by which the library finds the tasks that wait for a name, in their lists.
std::string dependantPattern(const std::string& strName);

}  // namespace Host
