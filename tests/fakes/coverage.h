/// \file coverage.h
/// Coverage of processes that do not end by exit().

#pragma once

namespace OrvaTest {

/// In a coverage build, saves the counters so far, where every user can add to them from then on: a child that is
/// about to give up root could not write to the files of root. Elsewhere it does nothing. Leaves `errno` alone.
void saveCoverage();

}  // namespace OrvaTest
