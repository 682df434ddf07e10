/// \file input.h
/// What a user hands over in a file or on standard input.

#pragma once

#include <json/value.h>
#include <string>

/// Reads a file whole; "-" is standard input. \throw Host::Failure that names it.
std::string readInput(const std::string& strFile);

/// Reads a JSON record. \throw Host::Failure that names the file and what is wrong with it.
Json::Value readRecord(const std::string& strFile);
