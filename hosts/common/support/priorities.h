/// \file priorities.h
/// The priorities of the calling process, which the processes that it starts inherit.

#pragma once

namespace Host {

/// Sets its nice value, and that of its session. \return false with errno on failure.
bool setNice(int iNice);

/// Sets its I/O priority. \param iPriority  as the kernel has it. \return false with errno on failure.
bool setIoPriority(int iPriority);

}  // namespace Host
