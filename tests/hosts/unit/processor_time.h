/// \file processor_time.h
/// The processor time of this process: unlike the time of a clock, other load hardly changes it.

#pragma once

#include <algorithm>
#include <ctime>

namespace HostTest {

/// The processor time that something takes, in seconds: the least of three times.
template <typename Work>
double processorTime(const Work& work) {
  double least = 1e9;
  for (int i = 0; i < 3; ++i) {
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    work();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    least = std::min(
        least, static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec) / 1e9);
  }
  return least;
}

}  // namespace HostTest
