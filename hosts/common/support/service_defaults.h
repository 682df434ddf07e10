/// \file service_defaults.h
/// The limits, priority, processors, signals and keyring that systemd gives a service by default.

#pragma once

namespace Host {

/// Gives the calling process the limits, the priority and the processors. \throw Failure
void takeDefaultLimits();

/// Lets the calling process open as many files as it may; not meant for scripts.
void allowManyFiles();

/// Takes that back.
void allowDefaultFiles();

/// Resets all signal dispositions, and blocks no signal. Can be called between vfork() and exec.
void takeDefaultSignals();

/// Gives the calling process, and those that it starts, a new and empty keyring: secrets that all processes of a
/// session can use. \return false with errno on failure.
bool takeNewKeyring();

}  // namespace Host
