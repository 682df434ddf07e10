/// \file processes.h
/// Commands that a test runs, and guards against what it could leave behind.

#pragma once

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// What a command did.
struct CommandResult {
  int iStatus = -1;       ///< exit status; 128 + N when signal N killed it
  std::string strOut;     ///< standard output
  std::string strErrors;  ///< standard error
};

/// Runs a program, without a shell, with standard input from /dev/null, and waits for it.
/// \param command      program and arguments; the program is searched in PATH.
/// \param environment  variables that are added to the present ones.
CommandResult runCommand(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment = {});

/// The open descriptors of this process, each with what it refers to.
std::map<int, std::string> openDescriptors();

/// The processes that this process has to reap, the ended ones included.
std::vector<pid_t> children();

/// Kills and reaps the children of this process, so that a failed test leaves none.
void endChildren();

}  // namespace OrvaTest
