/// \file start_screen.h
/// The screen of eorva without a command.

#pragma once

/// Shows the commands to begin with, and the state of today in a line.
/// \return the exit status of the program.
int showStart();
