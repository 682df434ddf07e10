// The identity that a script runs under.

#pragma once

#include <sys/types.h>

// Switches the calling process to the owner's identity for good: user, group, supplementary groups, and HOME, USER and
// LOGNAME. Does nothing when the real user is already the owner. Returns 0, or -1 when a step failed; then the process
// must not run anything.
int changeUserCtx(uid_t uidOwner);
