/// \file launch_options.h
/// The options that say when and how the runs of a task are launched.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "context.h"

/// The typed options.
struct LaunchOptions {
  std::optional<std::string> strDirectory;
  std::optional<Json::Int64> iNice;
  std::optional<std::string> strIoClass;
  std::optional<std::string> strMemoryLimit;
  std::vector<std::string> vecEnvironment;
  bool blNoEnvironment = false;
  bool blOnlyAfterSuccess = false;
  bool blAlsoAfterFailure = false;
  std::optional<Json::Int64> cRetries;
  std::optional<Json::Int64> cRetryAfter;

  /// Tells whether any was typed.
  bool areSet() const;

  /// Sets the members that were typed.
  void setMembers(Json::Value& jTask) const;
};

void addLaunchOptions(CLI::App* pCommand, LaunchOptions& options);
