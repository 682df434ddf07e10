/// \file inotify_limit.h
/// The number of files that can be watched for changes.

#pragma once

namespace HostTest {

/// From now on, this process and its children can watch no more files, as when others watch as many as the kernel
/// allows.
void useUpInotify();

}  // namespace HostTest
