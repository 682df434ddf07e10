/// \file follow.h
/// Waiting for more output.

#pragma once

#include <vector>

/// Waits until one of these descriptors can be read, or for a moment when there is none to wait for. Ends this program
/// with SIGPIPE when standard output has no reader.
void waitForMore(const std::vector<int>& vecFds = {});
