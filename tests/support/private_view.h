/// \file private_view.h
/// The view of the file system that a test process has to itself.

#pragma once

namespace OrvaTest {

/// Moves the process into a mount namespace of its own, where /usr and /etc are writable copies, /tmp, /run,
/// /var/lib, /var/log and /var/spool are fresh, and nothing of the product is installed. The source and build trees
/// stay visible at their places, wherever they lie. Throws when a step fails, and nothing was touched then.
void enterPrivateView();

/// Removes what a test installed, configured or left in the product's folders, in the private view only; outside of
/// it, it throws.
void freshProduct();

}  // namespace OrvaTest
