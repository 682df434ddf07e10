/// \file remedy.h
/// The remedies of failures.

#pragma once

#include "common/support/failure.h"

namespace HostTest {

/// The remedy that a failing step suggests.
template <typename Step>
Host::Hint::Kind remedyFor(Step step) {
  try {
    step();
  } catch (const Host::Failure& failure) {
    return failure.hint().kind;
  }
  return Host::Hint::NONE;
}

}  // namespace HostTest
