/// \file end_request.h
/// The request to end an execution: a signal, for its watch and for its process.

#pragma once

#include <array>
#include <chrono>
#include <csignal>

namespace Host {

/// systemd sends this to all processes of a scope, scripts included, which ignore it: the watch decides how runs end.
inline constexpr int SCOPE_END_SIGNAL = SIGURG;

inline constexpr std::array END_SIGNALS = {SIGTERM, SCOPE_END_SIGNAL};

/// Takes these signals as this request from now on. Scripts get the default.
void listenToEndRequests();

bool isAskedToEnd();

/// Sleeps until a time, until a descriptor can be read, or until somebody asks this process to end.
/// \param fd  -1 for none. \return false when somebody asks.
bool sleepUntil(std::chrono::steady_clock::time_point time, int fd);

}  // namespace Host
