#include "quiet_terminal.h"

#include <cerrno>
#include <csignal>
#include <termios.h>
#include <unistd.h>

namespace {

termios g_before{};
volatile std::sig_atomic_t g_blQuiet = 0;
volatile std::sig_atomic_t g_blStopped = 0;

/// Does nothing in the background: changing the terminal there would stop this program.
bool isOurs() {
  return tcgetpgrp(STDOUT_FILENO) == getpgrp();
}

void silence() {
  if (!isOurs() || tcgetattr(STDOUT_FILENO, &g_before) < 0) {
    return;
  }
  termios quiet = g_before;
  quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
  g_blQuiet = tcsetattr(STDOUT_FILENO, TCSANOW, &quiet) == 0 ? 1 : 0;
}

/// Restores the terminal for the shell, and turns the echo off again when this program continues.
void stopAndGoOn(int) {
  const int iError = errno;
  QuietTerminal::restore();
  raise(SIGSTOP);
  silence();
  g_blStopped = 1;
  errno = iError;
}

}  // namespace

QuietTerminal::QuietTerminal() {
  silence();
  if (std::signal(SIGTSTP, SIG_IGN) != SIG_IGN) {
    std::signal(SIGTSTP, stopAndGoOn);
  }
}

QuietTerminal::~QuietTerminal() {
  if (std::signal(SIGTSTP, SIG_IGN) != SIG_IGN) {
    std::signal(SIGTSTP, SIG_DFL);
  }
  restore();
}

void QuietTerminal::restore() {
  if (g_blQuiet != 0 && isOurs()) {
    tcsetattr(STDOUT_FILENO, TCSANOW, &g_before);
    g_blQuiet = 0;
  }
}

bool QuietTerminal::takeStop() {
  const bool blStopped = g_blStopped != 0;
  g_blStopped = 0;
  return blStopped;
}
