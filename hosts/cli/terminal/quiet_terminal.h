/// \file quiet_terminal.h
/// A terminal on which something is drawn again and again.

#pragma once

/// Keeps what is typed meanwhile from being shown in the middle of what is drawn; it stays there for whoever reads it
/// next. There is one at a time.
class QuietTerminal {
public:
  QuietTerminal();
  ~QuietTerminal();
  QuietTerminal(const QuietTerminal&) = delete;
  QuietTerminal& operator=(const QuietTerminal&) = delete;

  /// Makes the terminal what it was; may be called while a signal is handled.
  static void restore();

  /// Tells whether this program was stopped and continued since the last time: the screen is not what it was.
  static bool takeStop();
};
