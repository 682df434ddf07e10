/// \file quiet_terminal.h
/// The terminal while a table is redrawn.

#pragma once

/// Turns off the echo, so that typed keys do not appear in the table. The next program can still read them. One at a
/// time.
class QuietTerminal {
public:
  QuietTerminal();
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  /// Restores the terminal; may be called in a signal handler.
  static void restore();

  /// Tells whether this program was stopped and continued since the last call, so that the screen has changed.
  static bool takeStop();
};
