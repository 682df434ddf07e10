/// \file private_view.h
/// The private view of the file system for a test process.

#pragma once

namespace OrvaTest {

/// Moves the process into its own mount namespace, where /usr and /etc are writable copies, /tmp, /run, /var/lib,
/// /var/log and /var/spool are empty, and nothing of the product is installed. The source and build trees stay visible
/// at their paths. Throws when a step fails; the machine is then unchanged.
void enterPrivateView();

/// Removes all files that a test installed, configured or left in the product's folders, only in the private view.
/// Throws outside of it.
void freshProduct();

}  // namespace OrvaTest
