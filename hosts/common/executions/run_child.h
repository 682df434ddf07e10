/// \file run_child.h
/// The first steps of the process of a run.

#pragma once

namespace Host {

/// Makes all later children of the calling process report themselves through a descriptor, and gives them the name of a
/// run (see run_process.h).
/// The children close this descriptor and a second one.
void reportChildrenTo(int fd, int fdCloseToo);

}  // namespace Host
