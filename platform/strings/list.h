/// \file list.h
/// The implementation of PKLIBCSZLIST.

#pragma once

#include <string>
#include <vector>

#include "orva_platform.h"

namespace orva {

/// The public member comes first, so that callers can read `nItem` through the public declaration.
struct StringList : KLIBCSZLIST {
  std::vector<std::string> m_vecItem;
};

/// Appends a string to a list.
inline void appendTo(PKLIBCSZLIST pList, const std::string& strItem) {
  auto* const pOwn = static_cast<StringList*>(pList);
  pOwn->m_vecItem.push_back(strItem);
  ++pOwn->nItem;
}

}  // namespace orva
