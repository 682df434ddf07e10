/// \file deferred_signals.h
/// Blocks termination signals for a while.

#pragma once

#include <csignal>

namespace Host {

/// Blocks SIGINT, SIGTERM, SIGHUP and SIGQUIT for its lifetime; they take effect afterwards.
class DeferredSignals {
public:
  DeferredSignals();
  ~DeferredSignals();
  DeferredSignals(const DeferredSignals&) = delete;
  DeferredSignals& operator=(const DeferredSignals&) = delete;

private:
  sigset_t m_before{};
};

}  // namespace Host
