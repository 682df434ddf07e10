/// \file standard_descriptors.h
/// The three descriptors that every program expects to be open.

#pragma once

namespace Host {

/// Occupies those of the three that are closed, so that no file that is opened later gets one of their numbers. They
/// go on failing: who reads or writes learns that nobody is there. Ends the process when it cannot be done.
void occupyStandardDescriptors();

}  // namespace Host
