#include "shares.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include "common/support/failure.h"
#include "common/text/shell_word.h"

namespace Host {

namespace {

constexpr int ERR_VOLUME_UNUSABLE = 0x1400;

using ListPtr = std::unique_ptr<KLIBCSZLIST, decltype(&KLIBCSzListFree)>;

std::vector<std::string> textsOf(const ListPtr& pList) {
  std::vector<std::string> vecText;
  vecText.reserve(static_cast<std::size_t>(pList->nItem));
  for (int i = 0; i < pList->nItem; ++i) {
    vecText.emplace_back(KLIBCSzListGet(pList.get(), i));
  }
  return vecText;
}

/// \return null when there is no such share.
SharePtr findShare(const std::string& strShare) {
  PORVASHARE pShare = nullptr;
  return SharePtr(ORVAShareGet(strShare.c_str(), &pShare) < 0 ? nullptr : pShare, &ORVAShareFree);
}

}  // namespace

namespace {

/// \param vecFault  receives errors in the definitions.
std::vector<std::string> listShares(std::vector<std::string>& vecFault) {
  PKLIBCSZLIST pNames = KLIBCSzListAlloc(0);
  PKLIBCSZLIST pFaults = KLIBCSzListAlloc(0);
  const int iResult = ORVAShareList(&pNames, &pFaults);
  const ListPtr names(pNames, &KLIBCSzListFree);
  const ListPtr faults(pFaults, &KLIBCSzListFree);
  if (iResult < 0) {
    throw Failure(fmt::format("cannot list the shares: {}", std::strerror(KLIBCErrGet())));
  }
  vecFault = textsOf(faults);
  return textsOf(names);
}

}  // namespace

std::vector<std::string> shareNames() {
  std::vector<std::string> vecFault;
  return listShares(vecFault);
}

Shares readShares() {
  Shares shares;
  for (const std::string& strName : listShares(shares.vecFault)) {
    PORVASHARE pShare = nullptr;
    // Skips shares that were removed meanwhile.
    if (ORVAShareGet(strName.c_str(), &pShare) == 0) {
      shares.vecShare.emplace_back(pShare, &ORVAShareFree);
    }
  }
  return shares;
}

std::string whyUnusable(const ORVASHARE& share) {
  const std::string strPath = shellWord(share.szPath);
  switch (share.iError) {
    case 0:
      return "";
    case ERR_VOLUME_UNUSABLE:
      return *share.szVolume != '\0' ? fmt::format("its volume is not available: mount {}", shellWord(share.szVolume))
                                     : fmt::format("its volume gives errors: see ls {}", strPath);
    case ENOTDIR:
      return fmt::format("its folder does not exist: mkdir -p {}", strPath);
    case EINVAL:
      return fmt::format("its path leads to a name that is unsafe in a shell: see readlink -f {}", strPath);
    default:
      return fmt::format("its path cannot be used: {}", std::strerror(share.iError));
  }
}

std::string whyShareUnusable(const std::string& strShare) {
  const SharePtr share = findShare(strShare);
  return share ? whyUnusable(*share) : "it is not defined";
}

bool isShareDefined(const std::string& strShare) {
  return findShare(strShare) != nullptr;
}

}  // namespace Host
