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

/// Adds a string to a list of the platform.
inline void appendTo(PKLIBCSZLIST pList, const std::string& strItem) {
  auto* const pOwn = static_cast<StringList*>(pList);
  pOwn->m_vecItem.push_back(strItem);
  ++pOwn->nItem;
}

}  // namespace orva
