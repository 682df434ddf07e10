/// \file progress.h
/// What an execution has done so far, and how that is shown while it goes on.

#pragma once

#include <json/value.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/executions/execution.h"
#include "present.h"

/// Follows an execution through the records that it writes.
class Progress {
public:
  explicit Progress(const Host::ExecutionPlan& plan);

  /// Reads the records of the runs that these processes stand for.
  /// \return the runs that began or ended since the last time, in the order of their numbers.
  std::vector<Json::Value> poll(Host::Session& session, const std::set<pid_t>& setChildren);

  /// Every run so far, by its number.
  const std::map<Json::Int64, Json::Value>& runs() const { return m_mapRuns; }

  /// Tasks that were expected to run and have not been started.
  std::vector<std::string> notStarted() const;

private:
  const Host::ExecutionPlan& m_plan;
  std::map<Json::Int64, Json::Value> m_mapRuns;
};

/// Shows progress on standard output.
class ProgressView {
public:
  virtual ~ProgressView() = default;

  /// \param vecNews  the runs that began or ended since the last time.
  virtual void update(const Progress& progress, const std::vector<Json::Value>& vecNews) = 0;

  /// Shows what is to stay, when the execution has ended.
  virtual void end(const Progress&) {}
};

/// A table that is drawn again and again; for a terminal.
std::unique_ptr<ProgressView> makeLiveView(const OwnerNames& owners, bool blColor);

/// A line whenever something happens; for everything else.
std::unique_ptr<ProgressView> makeLineView(const OwnerNames& owners);
