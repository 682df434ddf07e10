/// \file deferred_signals.h
/// Work that nobody ends halfway.

#pragma once

#include <csignal>

namespace Host {

/// While it lives, whoever wants to end this command has to wait; its signal ends the command afterwards.
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
