/// \file input.h
/// What a user hands over in a file or on standard input.

#pragma once

#include <cstddef>
#include <json/value.h>
#include <string>

/// Longer files are no scripts and no records.
inline constexpr std::size_t CB_MAX_INPUT = std::size_t{1} << 20;

/// Reads a file whole; "-" is standard input. \throw Host::Failure that names it.
std::string readInput(const std::string& strFile, std::size_t cbMax = CB_MAX_INPUT);

/// Reads a JSON record. \throw Host::Failure that names the file and what is wrong with it.
Json::Value readRecord(const std::string& strFile);
