#include "strings/list.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>

#include "support/boundary.h"

namespace {

using orva::StringList;

// The expected size is only a hint; the limit protects the memory from a wrong one.
constexpr int N_RESERVE_MAX = 4096;

StringList* listOf(PKLIBCSZLIST pList) {
  return static_cast<StringList*>(pList);
}

std::vector<std::string> split(std::string_view strText, std::string_view strSeparators) {
  std::vector<std::string> vecPiece;
  for (;;) {
    const std::size_t uEnd = strText.find_first_of(strSeparators);
    vecPiece.emplace_back(strText.substr(0, uEnd));
    if (uEnd == std::string_view::npos) {
      return vecPiece;
    }
    strText.remove_prefix(uEnd + 1);
  }
}

int appendPieces(const char* szText, const char* szSeparators, PKLIBCSZLIST* ppList) {
  if (!szText || !szSeparators || !ppList || !*ppList) {
    FAIL_WITH(EINVAL);
  }
  std::vector<std::string> vecPiece = split(szText, szSeparators);
  StringList* const pList = listOf(*ppList);
  if (vecPiece.size() > static_cast<std::size_t>(std::numeric_limits<int>::max() - pList->nItem)) {
    FAIL_WITH(EOVERFLOW);
  }
  const int cPiece = static_cast<int>(vecPiece.size());
  std::move(vecPiece.begin(), vecPiece.end(), std::back_inserter(pList->m_vecItem));
  pList->nItem += cPiece;
  return cPiece;
}

}  // namespace

extern "C" PKLIBCSZLIST KLIBCSzListAlloc(int cItem) {
  StringList* pResult = nullptr;
  orva::guarded([&] {
    if (cItem < 0) {
      FAIL_WITH(EINVAL);
    }
    auto pList = std::make_unique<StringList>();
    pList->nItem = 0;
    pList->m_vecItem.reserve(static_cast<std::size_t>(std::min(cItem, N_RESERVE_MAX)));
    pResult = pList.release();
    return 0;
  });
  return pResult;
}

extern "C" const char* KLIBCSzListGet(PKLIBCSZLIST pList, int iIndex) {
  if (!pList || iIndex < 0 || iIndex >= pList->nItem) {
    return nullptr;
  }
  return listOf(pList)->m_vecItem[static_cast<std::size_t>(iIndex)].c_str();
}

extern "C" void KLIBCSzListFree(PKLIBCSZLIST pList) {
  delete listOf(pList);
}

extern "C" int KLIBCStrTok(const char* szText, const char* szSeparators, PKLIBCSZLIST* ppList) {
  return orva::guarded([&] { return appendPieces(szText, szSeparators, ppList); });
}
