/// \file default_limits.h
/// The limits, priority and processors that systemd gives a service by default.

#pragma once

namespace Host {

/// Gives it to the calling process. \throw Failure
void takeDefaultLimits();

/// Lets the calling process open as many files as it may; not meant for scripts.
void allowManyFiles();

/// Takes that back.
void allowDefaultFiles();

}  // namespace Host
