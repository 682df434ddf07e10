/// \file progress_view.h
/// Shows an execution while it goes on.

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

  /// Shows what is to stay, when the execution has ended.
  virtual void end(const Host::Progress&) {}
};

/// A table that is drawn again and again; for a terminal.
std::unique_ptr<ProgressView> makeLiveView(const OwnerNames& owners, bool blColor);

/// A line whenever something happens; for everything else.
std::unique_ptr<ProgressView> makeLineView(const OwnerNames& owners);
