/// \file progress_view.h
/// Shows a running execution.

#pragma once

#include <json/value.h>
#include <memory>
#include <vector>

#include "present.h"

namespace Host {
class Progress;
}

/// Shows progress on standard output.
class ProgressView {
public:
  virtual ~ProgressView() = default;

  /// \param vecNews  the runs that began or ended since the last time.
  virtual void update(const Host::Progress& progress, const std::vector<Json::Value>& vecNews) = 0;

  /// Draws the final state.
  virtual void end(const Host::Progress&) {}
};

/// A table that is redrawn; for terminals.
std::unique_ptr<ProgressView> makeLiveView(const OwnerNames& owners, bool blColor);

/// A line for each start and end; for everything else.
std::unique_ptr<ProgressView> makeLineView();
