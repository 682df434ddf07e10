/// \file coverage.h
/// Coverage of processes that do not end by exit().

#pragma once

namespace OrvaTest {

/// In a coverage build, saves the counters so far in files that every user can write to, because a child that gives up
/// root cannot write to root's files. In other builds it does nothing. Does not change `errno`.
void saveCoverage();

}  // namespace OrvaTest
