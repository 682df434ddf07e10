/// \file deferred_signals.h
/// Blocks termination signals for a while.

#pragma once

#include <csignal>

namespace Host {

/// Blocks SIGINT, SIGTERM, SIGHUP and SIGQUIT for its lifetime; they take effect afterwards.
class DeferredSignals {
public:
  /// Which signals have to wait.
  enum class Signals {
    OF_TERMINALS,  ///< those that somebody ends a command with
    ALL,           ///< every one that can wait
  };

  explicit DeferredSignals(Signals signals = Signals::OF_TERMINALS);
  ~DeferredSignals();
  DeferredSignals(const DeferredSignals&) = delete;
  DeferredSignals& operator=(const DeferredSignals&) = delete;

private:
  sigset_t m_before{};
};

}  // namespace Host
