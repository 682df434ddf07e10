#include "program.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "files.h"

namespace Host {

namespace {

/// The attributes and the descriptors that a program starts with.
struct Start {
  Start() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~Start() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;

  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
};

int waitForEnd(pid_t pid, const std::string& strProgram) {
  int iStatus = 0;
  while (waitpid(pid, &iStatus, 0) < 0) {
    if (errno != EINTR) {
      throw Failure(fmt::format("cannot wait for {}: {}", strProgram, std::strerror(errno)));
    }
  }
  return iStatus;
}

}  // namespace

void Program::setDefault(int iSignal) {
  sigaddset(&m_defaults, iSignal);
}

pid_t Program::start() const {
  std::vector<char*> vecPointers;
  vecPointers.reserve(m_vecCommand.size() + 1);
  for (const std::string& strWord : m_vecCommand) {
    vecPointers.push_back(const_cast<char*>(strWord.c_str()));
  }
  vecPointers.push_back(nullptr);
  Start start;
  for (const auto& [fd, fdThere] : m_vecGiven) {
    posix_spawn_file_actions_adddup2(&start.actions, fd, fdThere);
  }
  posix_spawnattr_setsigdefault(&start.attributes, &m_defaults);
  posix_spawnattr_setflags(&start.attributes, POSIX_SPAWN_SETSIGDEF);
  std::fflush(nullptr);
  pid_t pid = 0;
  const int iError = posix_spawnp(&pid, vecPointers[0], &start.actions, &start.attributes, vecPointers.data(), environ);
  if (iError == ENOENT) {
    throw ProgramMissing(fmt::format("cannot run {}: it is not installed", m_vecCommand[0]));
  }
  if (iError != 0) {
    throw Failure(fmt::format("cannot run {}: {}", m_vecCommand[0], std::strerror(iError)));
  }
  return pid;
}

int Program::run() const {
  return waitForEnd(start(), m_vecCommand[0]);
}

int Program::run(std::string& strOutput) {
  Pipe pipe;
  give(pipe.writer.get(), STDOUT_FILENO);
  give(pipe.writer.get(), STDERR_FILENO);
  const pid_t pid = start();
  pipe.writer.reset();
  try {
    strOutput = readAll(pipe.reader.get(), m_vecCommand[0]);
  } catch (...) {
    pipe.reader.reset();
    waitForEnd(pid, m_vecCommand[0]);
    throw;
  }
  return waitForEnd(pid, m_vecCommand[0]);
}

}  // namespace Host
