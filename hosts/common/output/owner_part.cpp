#include "owner_part.h"

#include <algorithm>
#include <limits>

namespace Host {

std::uint64_t partOfOwner(std::vector<std::uint64_t> vecSizes, std::uint64_t cbLimit) {
  std::sort(vecSizes.begin(), vecSizes.end());
  std::uint64_t cbLeft = cbLimit;
  for (std::size_t i = 0; i < vecSizes.size(); ++i) {
    const std::uint64_t cbPart = cbLeft / (vecSizes.size() - i);
    if (vecSizes[i] > cbPart) {
      return cbPart;
    }
    cbLeft -= vecSizes[i];
  }
  return std::numeric_limits<std::uint64_t>::max();
}

}  // namespace Host
