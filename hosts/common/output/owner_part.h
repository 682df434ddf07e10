/// \file owner_part.h
/// How the limit for output is divided among the owners of tasks.

#pragma once

#include <cstdint>
#include <vector>

namespace Host {

/// The part of each owner who needs more than it. Owners who need less keep all that they have; the others share the
/// rest equally.
/// \param vecSizes  what each owner has.
/// \return the greatest number when all of it fits.
std::uint64_t partOfOwner(std::vector<std::uint64_t> vecSizes, std::uint64_t cbLimit);

}  // namespace Host
