/// \file processes.h
/// Runs commands in tests, and finds leftover descriptors and children.

#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// The result of a command.
struct CommandResult {
  int iStatus = -1;       ///< exit status; 128 + N when signal N killed it
  std::string strOut;     ///< standard output
  std::string strErrors;  ///< standard error
};

/// Runs a program, without a shell, with standard input from /dev/null, and waits for it.
/// \param command      program and arguments; the program is searched in PATH.
/// \param environment  additional environment variables.
CommandResult runCommand(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {});

/// The open descriptors of this process, each with its target.
std::map<int, std::string> openDescriptors();

/// The children of this process, including ended ones.
std::vector<pid_t> children();

/// Kills and reaps the children of this process after a failed test.
void endChildren();

}  // namespace OrvaTest
