/// \file together.h
/// Work in several processes that begin at the same moment.

#pragma once

#include <functional>
#include <vector>

/// Runs the work in so many processes; each ends with what its work returns, from 0 to 127.
/// \param work  gets the number of its process, from 0.
/// \return what they ended with; -1 for one that did not end by itself.
std::vector<int> runTogether(int cProcesses, const std::function<int(int)>& work);
