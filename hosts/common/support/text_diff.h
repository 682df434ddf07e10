/// \file text_diff.h
/// The difference of two texts, from diff(1).

#pragma once

#include <string>

#include "unique_fd.h"

namespace Host {

/// One of the two texts.
struct DiffSide {
  int fd = -1;           ///< a regular file, open for reading
  std::string strLabel;  ///< its name in the difference
};

/// Writes the unified difference of two texts to a descriptor.
/// \return true when there is none. \throw Failure when it cannot be found out.
bool writeDifference(const DiffSide& left, const DiffSide& right, bool blColor, int fdOut);

/// Gives the difference as a text; empty when there is none. \throw as above.
std::string differenceText(const DiffSide& left, const DiffSide& right);

/// Gives a text as a file in memory. \throw Failure when that is impossible.
UniqueFd fileOfText(const std::string& strText);

}  // namespace Host
