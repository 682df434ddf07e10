/// \file server.h
/// The view of the machine for fuzz targets.

#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "conformance/property/read_only_root.h"
#include "support/private_view.h"

namespace OrvaFuzz {

/// Moves the process into a private view with a read-only root; ends the process on failure.
inline void enterServer() {
  try {
    OrvaTest::enterPrivateView();
    OrvaTest::makeRootReadOnly();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "No private view of the file system, nothing is fuzzed: %s\n", failure.what());
    std::exit(1);
  }
}

}  // namespace OrvaFuzz
