/// \file list.h
/// What stands behind a PKLIBCSZLIST.

#pragma once

#include <string>
#include <vector>

#include "orva_platform.h"

namespace orva {

/// The public part comes first, so that a caller reads `nItem` through its own declaration.
struct StringList : KLIBCSZLIST {
  std::vector<std::string> m_vecItem;
};

}  // namespace orva
