/// \file fresh_host.h
/// What tests of hosts begin with.

#pragma once

namespace HostTest {

/// The product as the packages install it, in the private view: what comes with it, a folder for the store, and
/// nothing under way.
void freshHost();

}  // namespace HostTest
