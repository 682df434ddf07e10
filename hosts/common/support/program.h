/// \file program.h
/// Runs other programs.

#pragma once

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "failure.h"

namespace Host {

/// The program is not installed.
class ProgramMissing : public Failure {
public:
  using Failure::Failure;
};

/// One run of a program. Unless told otherwise, it shares the standard descriptors of this process.
class Program {
public:
  /// \param vecCommand  the program, which is looked up in PATH, and its arguments.
  explicit Program(std::vector<std::string> vecCommand) : m_vecCommand(std::move(vecCommand)) {}

  /// Gives the program a descriptor under another number. The descriptor is borrowed until run() returns.
  void give(int fd, int fdThere) { m_vecGiven.emplace_back(fd, fdThere); }

  /// Gives the program the default action of a signal that this process ignores.
  void setDefault(int iSignal);

  /// Runs the program and waits for its end.
  /// \return its wait status. \throw ProgramMissing, or Failure when it cannot be run.
  int run() const;

  /// Runs the program and collects its standard output and standard error.
  /// \return as above. \throw as above.
  int run(std::string& strOutput);

private:
  pid_t start() const;

  std::vector<std::string> m_vecCommand;
  std::vector<std::pair<int, int>> m_vecGiven;
  sigset_t m_defaults{};
};

}  // namespace Host
