/// \file read_only_root.h
/// The machine out of reach of hostile paths.

#pragma once

namespace OrvaTest {

/// Makes the root file system read-only in the mount namespace of this process, which must be a private one: a
/// request may name any path, "../.." included. The source and build trees stay writable. Throws when it fails.
void makeRootReadOnly();

}  // namespace OrvaTest
