/// \file follow.h
/// Waiting for more output.

#pragma once

/// Waits a moment. Ends this program with SIGPIPE when the reader of standard output has gone.
void waitForMore();
