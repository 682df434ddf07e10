/// \file together.h
/// Runs work in several processes that start at the same time.

#pragma once

#include <functional>
#include <vector>

/// Runs the work in a number of processes. Each process exits with the result of its work, from 0 to 127.
/// \param work  gets the number of its process, from 0.
/// \return their exit statuses; -1 for a process that was killed.
std::vector<int> runTogether(int cProcesses, const std::function<int(int)>& work);
