/// \file deferred_signals.h
/// Blocks termination signals for a while.

#pragma once

#include <csignal>

namespace Host {

/// Blocks SIGINT, SIGTERM, SIGHUP and SIGQUIT for its lifetime; they take effect afterwards.
class DeferredSignals {
public:
  /// The signals to block.
  enum class Signals {
    OF_TERMINALS,  ///< signals that end a command from a terminal
    ALL,           ///< all signals that can be blocked
  };

  explicit DeferredSignals(Signals signals = Signals::OF_TERMINALS);
  ~DeferredSignals();
  DeferredSignals(const DeferredSignals&) = delete;
  DeferredSignals& operator=(const DeferredSignals&) = delete;

private:
  sigset_t m_before{};
};

}  // namespace Host
