// Information for administrators: all defined shares, and why some are not available.

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "orva_platform.h"

#include "shares/share_list.h"
#include "strings/list.h"
#include "support/boundary.h"
#include "support/mount_table.h"

namespace {

// The public members come first; their pointers refer to the strings after them.
struct ShareRecord : ORVASHARE {
  std::string m_strName;
  std::string m_strPath;
  std::string m_strVolume;

  void publish() {
    szName = m_strName.data();
    szPath = m_strPath.data();
    szVolume = m_strVolume.data();
  }
};

// The volume of a share; empty when its path does not exist.
std::string volumeOf(const orva::ShareState& state) {
  if (!state.strVolume.empty() || state.iError != 0) {
    return state.strVolume;
  }
  const auto mount = orva::mountHolding(orva::currentMounts(), state.strPath);
  return mount ? mount->strTarget : std::string();
}

int shareGet(const char* szShare, PORVASHARE* ppShare) {
  if (!szShare || !ppShare) {
    FAIL_WITH(EINVAL);
  }
  *ppShare = nullptr;
  // ORVAShareList() reports the errors. Callers list the shares first and then read each of them.
  for (const orva::Share& share : orva::definedShares([](const std::string&) {})) {
    if (share.strName == szShare) {
      const orva::ShareState state = orva::shareState(share);
      auto pRecord = std::make_unique<ShareRecord>();
      pRecord->m_strName = share.strName;
      pRecord->m_strPath = share.strPath;
      pRecord->m_strVolume = volumeOf(state);
      pRecord->iError = state.iError;
      pRecord->cbFree = state.iError == 0 ? orva::freeBytes(state.strPath).value_or(0) : 0;
      pRecord->publish();
      *ppShare = pRecord.release();
      return 0;
    }
  }
  FAIL_WITH(ENOENT);
}

int shareList(PKLIBCSZLIST* ppShares, PKLIBCSZLIST* ppFaults) {
  if (!ppShares || !*ppShares || (ppFaults && !*ppFaults)) {
    FAIL_WITH(EINVAL);
  }
  std::vector<std::string> vecFault;
  const std::vector<orva::Share> vecShare =
      orva::definedShares([&vecFault](const std::string& strFault) { vecFault.push_back(strFault); });
  for (const orva::Share& share : vecShare) {
    orva::appendTo(*ppShares, share.strName);
  }
  for (const std::string& strFault : vecFault) {
    ppFaults ? orva::appendTo(*ppFaults, strFault) : orva::logShareFault(strFault);
  }
  return static_cast<int>(vecShare.size());
}

}  // namespace

extern "C" int ORVAShareList(PKLIBCSZLIST* ppShares, PKLIBCSZLIST* ppFaults) {
  return orva::guarded([&] { return shareList(ppShares, ppFaults); });
}

extern "C" int ORVAShareGet(const char* szShare, PORVASHARE* ppShare) {
  return orva::guarded([&] { return shareGet(szShare, ppShare); });
}

extern "C" void ORVAShareFree(PORVASHARE pShare) {
  delete static_cast<ShareRecord*>(pShare);
}
