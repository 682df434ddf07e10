/// \file hint_text.h
/// Failures in words.

#pragma once

#include <string>

#include "common/support/failure.h"

namespace Host {

/// The text of a failure, with the command to type when there is one.
std::string failureText(const Failure& failure);

}  // namespace Host
