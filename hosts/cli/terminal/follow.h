/// \file follow.h
/// Waiting for more output.

#pragma once

/// Waits a moment. Ends this program with SIGPIPE when standard output has no reader.
void waitForMore();
