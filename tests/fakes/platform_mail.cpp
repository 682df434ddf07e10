// Mail, settings, texts, lists and hashes of strings.

#include <cstring>
#include <fstream>

#include "orva_platform.h"

#include "fakes/fakes.h"

using OrvaTest::fakes;

struct tagKLIBCSZHASH {
  std::map<std::string, std::string> values;
};

namespace {

struct StringList : KLIBCSZLIST {
  std::vector<std::string> items;
};

StringList* itemsOf(PKLIBCSZLIST pList) {
  return static_cast<StringList*>(pList);
}

}  // namespace

Json::Value ORVA::UIX::LocalizedStringParser::ParseTexts(const std::string& strDirectory) {
  if (const auto answer = fakes().platformCall("ParseTexts", strDirectory)) {
    return answer->jOut.value_or(Json::Value(Json::objectValue));
  }
  const std::string strLanguage = strDirectory.substr(strDirectory.rfind('/') + 1);
  const auto found = fakes().texts.find(strLanguage);
  return found == fakes().texts.end() ? Json::Value(Json::objectValue) : found->second;
}

extern "C" {

PKLIBCSZLIST KLIBCSzListAlloc(int cItem) {
  if (fakes().platformCall("KLIBCSzListAlloc", cItem)) {
    return nullptr;
  }
  ++fakes().cHeld;
  auto* pList = new StringList;
  pList->nItem = 0;
  return pList;
}

const char* KLIBCSzListGet(PKLIBCSZLIST pList, int iIndex) {
  const auto answer = fakes().platformCall("KLIBCSzListGet", iIndex);
  if (answer || !pList || iIndex < 0 || iIndex >= pList->nItem) {
    return nullptr;
  }
  return itemsOf(pList)->items[static_cast<size_t>(iIndex)].c_str();
}

void KLIBCSzListFree(PKLIBCSZLIST pList) {
  fakes().enter("KLIBCSzListFree", "KLIBCSzListFree()", true, false);
  if (pList) {
    delete itemsOf(pList);
    --fakes().cHeld;
  }
}

int KLIBCStrTok(const char* szText, const char* szSeparators, PKLIBCSZLIST* ppList) {
  if (const auto answer = fakes().platformCall("KLIBCStrTok", szText, szSeparators)) {
    return answer->result(-1);
  }
  const std::string strText = szText;
  int cPieces = 0;
  for (size_t iStart = 0; iStart != std::string::npos; ++cPieces) {
    const size_t iEnd = strText.find_first_of(szSeparators, iStart);
    itemsOf(*ppList)->items.push_back(strText.substr(iStart, iEnd - iStart));
    iStart = iEnd == std::string::npos ? iEnd : iEnd + 1;
  }
  (*ppList)->nItem += cPieces;
  return cPieces;
}

PKLIBCSZHASH KLIBCSzHashAlloc(int cItem) {
  if (fakes().platformCall("KLIBCSzHashAlloc", cItem)) {
    return nullptr;
  }
  ++fakes().cHeld;
  return new tagKLIBCSZHASH;
}

int KLIBCSzHashSetValue(PKLIBCSZHASH* ppHash, const char* szKey, const char* szValue) {
  if (const auto answer = fakes().platformCall("KLIBCSzHashSetValue", szKey, szValue)) {
    return answer->result(-1);
  }
  (*ppHash)->values[szKey] = szValue;
  return 0;
}

void KLIBCSzHashFree(PKLIBCSZHASH pHash) {
  fakes().enter("KLIBCSzHashFree", "KLIBCSzHashFree()", true, false);
  if (pHash) {
    delete pHash;
    --fakes().cHeld;
  }
}

int KLIBCFileGetKeyValue(const char* szFile, const char* szKey, char* szValue, int cbValue) {
  if (const auto answer = fakes().platformCall("KLIBCFileGetKeyValue", szFile, szKey, cbValue)) {
    if (!answer->blFails && answer->jOut) {
      std::strncpy(szValue, answer->jOut->asCString(), static_cast<size_t>(cbValue) - 1);
    }
    return answer->result(-1);
  }
  std::ifstream in(szFile);
  if (!in) {
    return -1;
  }
  *szValue = '\0';
  const std::string strStart = std::string(szKey) + "=";
  for (std::string strLine; std::getline(in, strLine);) {
    if (strLine.starts_with(strStart)) {
      std::string strValue = strLine.substr(strStart.size());
      std::erase(strValue, '"');
      if (strValue.size() >= static_cast<size_t>(cbValue)) {
        return -1;
      }
      std::memcpy(szValue, strValue.c_str(), strValue.size() + 1);
      return 1;
    }
  }
  return 0;
}

int ORVAMailIsAddress(const char* szTo) {
  fakes().platformCall("ORVAMailIsAddress", szTo);
  return 1;
}

int ORVAMailSendMessageWithoutBlock(const char* szTemplate, PKLIBCSZHASH pValues, const char* szTo, int iFlags) {
  if (const auto answer = fakes().platformCall("ORVAMailSendMessageWithoutBlock", szTemplate, szTo, iFlags)) {
    return answer->result(-1);
  }
  fakes().mails.push_back({szTemplate, pValues->values, szTo});
  return 0;
}

}  // extern "C"
