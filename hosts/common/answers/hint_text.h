/// \file hint_text.h
/// Remedies for failures in words.

#pragma once

#include <string>

#include "common/support/failure.h"

namespace Host {

/// Continues the text of the failure, with its own punctuation; empty without a remedy.
std::string hintText(const Hint& hint);

}  // namespace Host
