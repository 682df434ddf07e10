/// \file apply_plan.h
/// Shows the changes of a plan, asks, and makes them.

#pragma once

#include "cli/context.h"
#include "common/state/apply.h"

struct ApplyOptions {
  bool blDryRun = false;
  bool blYes = false;
  bool blJson = false;
};

/// Adds --dry-run, --yes and --json.
void addApplyOptions(CLI::App* pCommand, ApplyOptions& options);

/// \return the exit status; EXIT_DIFFERENT when a dry run has found changes. \throw Failure
int applyPlan(const Context& context, const Host::ApplyPlan& plan, const ApplyOptions& options);
