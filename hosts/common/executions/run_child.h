/// \file run_child.h
/// What the process of a run does before anything else.

#pragma once

namespace Host {

/// Makes every child that the calling process forks from now on report itself through a descriptor, and bear the name
/// of a run (see run_process.h) from its first moment.
/// The children close the descriptor, and a second one; programs that they run inherit neither.
void reportChildrenTo(int fd, int fdCloseToo);

}  // namespace Host
