/// \file input.h
/// Reads files and standard input.

#pragma once

#include <cstddef>
#include <json/value.h>
#include <string>

/// The longest script or record.
inline constexpr std::size_t CB_MAX_INPUT = std::size_t{1} << 20;

/// Reads a whole file; "-" is standard input. \throw Host::Failure that names it.
std::string readInput(const std::string& strFile, std::size_t cbMax = CB_MAX_INPUT);

/// Reads a JSON record. \throw Host::Failure with the file and the fault.
Json::Value readRecord(const std::string& strFile);
