// The identity that a script runs under.

#pragma once

#include <sys/types.h>

// Gives the calling process the owner's identity for good: user, group, supplementary groups, and HOME, USER
// and LOGNAME. Does nothing when the real user is the owner already. 0, or -1 when a step failed: the process
// then has an identity that nothing may be run under.
int changeUserCtx(uid_t uidOwner);
