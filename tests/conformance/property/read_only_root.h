/// \file read_only_root.h
/// Protects the machine from hostile paths.

#pragma once

namespace OrvaTest {

/// Makes the root file system read-only in the private mount namespace of this process, because a request may have any
/// path, including "../..". The source and build trees stay writable. Throws on failure.
void makeRootReadOnly();

}  // namespace OrvaTest
