/// \file default_signals.h
/// Signals as a new process of the kernel has them.

#pragma once

namespace Host {

/// Resets all signal dispositions, and blocks no signal. Can be called between vfork() and exec.
void takeDefaultSignals();

}  // namespace Host
