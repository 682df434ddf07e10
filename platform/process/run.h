/// \file run.h
/// Runs a program with a time limit.

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace orva {

struct RunLimits {
  std::chrono::milliseconds run{30'000};   ///< then the program's process group gets SIGTERM
  std::chrono::milliseconds grace{5'000};  ///< after that, SIGKILL
};

/// Runs a program without a shell. It gets default signal dispositions, an empty signal mask, its own process group, /
/// as working folder, a small fixed environment, and only the descriptors 0, 1 and 2. Standard error goes to /dev/null.
/// \param vecArgument  the absolute path of the program, then its arguments.
/// \param fdIn         its standard input; -1 for /dev/null.
/// \param fdOut        its standard output; -1 for /dev/null.
/// \return its exit status, 0 to 255; -1 with a code in `errno` when it could not be started, its exit status is
///         unknown (ECHILD: the caller ignores SIGCHLD), it was killed (EINTR), or it took too long (ETIMEDOUT).
int runProgram(const std::vector<std::string>& vecArgument, int fdIn = -1, int fdOut = -1,
               const RunLimits& limits = RunLimits());

}  // namespace orva
