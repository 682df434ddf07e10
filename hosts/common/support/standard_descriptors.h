/// \file standard_descriptors.h
/// The three descriptors that every program expects to be open.

#pragma once

namespace Host {

/// Opens the closed ones, so that no other file gets their numbers. Reading and writing them still fails. Ends the
/// process on failure.
void occupyStandardDescriptors();

}  // namespace Host
