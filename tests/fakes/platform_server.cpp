// Users, shares, volumes, processes, errors and the event log.

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "orva_platform.h"

#include "fakes/fakes.h"

using OrvaTest::fakes;
using OrvaTest::Hex;
using OrvaTest::Octal;

namespace {

// As in every call that fills a buffer, a text that does not fit is a failure.
int fillBuffer(const std::string& strText, char* szBuffer, int cbBuffer) {
  if (cbBuffer <= 0 || strText.size() >= static_cast<size_t>(cbBuffer)) {
    return -1;
  }
  std::memcpy(szBuffer, strText.c_str(), strText.size() + 1);
  return 0;
}

int deliver(const OrvaTest::Answer& answer, char* szBuffer, int cbBuffer) {
  if (!answer.blFails && answer.jOut && fillBuffer(answer.jOut->asString(), szBuffer, cbBuffer) < 0) {
    return -1;
  }
  return answer.result(-1);
}

// Creating a folder here must not change the errno that the library sees.
class KeepErrno {
public:
  KeepErrno() : m_iErrno(errno) {}
  ~KeepErrno() { errno = m_iErrno; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

private:
  int m_iErrno;
};

int makeFolders(const std::string& strPath, mode_t mode) {
  const KeepErrno keep;
  for (size_t cb = 0; cb != std::string::npos;) {
    cb = strPath.find('/', cb + 1);
    const std::string strFolder = strPath.substr(0, cb);
    if (strFolder.empty() || strFolder.ends_with('/')) {
      continue;
    }
    if (::mkdir(strFolder.c_str(), mode) == 0) {
      ::chmod(strFolder.c_str(), mode);
    } else if (errno != EEXIST || !std::filesystem::is_directory(strFolder)) {
      return -1;
    }
  }
  return 0;
}

}  // namespace

extern "C" {

int ORVAUserGetByUID(uid_t uid, PORVAUSER* ppUser) {
  const auto answer = fakes().platformCall("ORVAUserGetByUID", uid);
  *ppUser = nullptr;
  if (answer) {
    return answer->result(-1);
  }
  const KeepErrno keep;
  passwd entry{};
  passwd* pEntry = nullptr;
  std::array<char, 16384> buffer{};
  if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &pEntry) != 0 || !pEntry) {
    return -1;
  }
  *ppUser = new ORVAUSER{::strdup(entry.pw_name), entry.pw_uid, entry.pw_gid, ::strdup(entry.pw_dir),
                         ::strdup(entry.pw_shell)};
  ++fakes().cHeld;
  return 0;
}

void ORVAUserFree(PORVAUSER pUser) {
  fakes().enter("ORVAUserFree", OrvaTest::callText("ORVAUserFree", pUser ? pUser->szName : nullptr), true, false);
  if (!pUser) {
    return;
  }
  std::free(pUser->szName);
  std::free(pUser->szHome);
  std::free(pUser->szShell);
  delete pUser;
  --fakes().cHeld;
}

int ORVASharePathGet(const char* szShare, char* szPath, int cbPath) {
  if (const auto answer = fakes().platformCall("ORVASharePathGet", szShare, cbPath)) {
    return deliver(*answer, szPath, cbPath);
  }
  const auto found = fakes().shares.find(szShare);
  return found == fakes().shares.end() ? -1 : fillBuffer(found->second, szPath, cbPath);
}

int ORVAShareTmpPathGet(const char* szVolume, char* szPath, int cbPath) {
  if (const auto answer = fakes().platformCall("ORVAShareTmpPathGet", szVolume, cbPath)) {
    return deliver(*answer, szPath, cbPath);
  }
  return szVolume == fakes().strVolume ? fillBuffer(fakes().strTmpFolder, szPath, cbPath) : -1;
}

int KLIBShareIsAccessible(const char* szShare) {
  if (const auto answer = fakes().platformCall("KLIBShareIsAccessible", szShare)) {
    return answer->result(0);
  }
  return fakes().shares.contains(szShare) ? 1 : 0;
}

int VolumeAvailGet(unsigned long long cbMinimum, int iReserved1, char* szVolume, int cbVolume, int iReserved2) {
  if (const auto answer = fakes().platformCall("VolumeAvailGet", Hex{cbMinimum}, iReserved1, iReserved2)) {
    return deliver(*answer, szVolume, cbVolume);
  }
  if (fakes().strVolume.empty()) {
    return 0;
  }
  return fillBuffer(fakes().strVolume, szVolume, cbVolume) < 0 ? -1 : 1;
}

int ORVAFSMkdirP(const char* szPath, const char* szRoot, int iWithLeaf, uid_t uid, gid_t gid, mode_t mode) {
  const auto answer = fakes().platformCall("ORVAFSMkdirP", szPath, szRoot, iWithLeaf, static_cast<int>(uid),
                                           static_cast<int>(gid), Octal{mode});
  return answer ? answer->result(-1) : makeFolders(szPath, mode);
}

int KLIBCProcAlive(pid_t pid) {
  if (const auto answer = fakes().platformCall("KLIBCProcAlive", pid)) {
    return answer->result(0);
  }
  const KeepErrno keep;
  return pid > 0 && (fakes().alivePids.contains(pid) || fakes().isPretended(pid) || ::kill(pid, 0) == 0) ? 1 : 0;
}

int KLIBCExec(const char* szProgram, const char* szArg1, const char* szArg2, const char* szArg3, const char* szArg4) {
  const auto answer = fakes().platformCall("KLIBCExec", szProgram, szArg1, szArg2, szArg3, szArg4);
  return answer ? answer->result(-1) : 0;
}

int KLIBCErrGet() {
  return fakes().iLastError;
}

const char* KLIBCErrorGetFile() {
  return fakes().strLastErrorFile.c_str();
}

int KLIBCErrorGetLine() {
  return fakes().iLastErrorLine;
}

int ORVALogSet1(int iType, int iLevel, unsigned int uCode, const char* szArg1, const char* szArg2, const char* szArg3,
                const char* szArg4) {
  const auto answer = fakes().platformCall("ORVALogSet1", iType, iLevel, Hex{uCode}, szArg1, szArg2, szArg3, szArg4);
  return answer ? answer->result(-1) : 0;
}

void ORVALogEndChildAfter(unsigned int uCode) {
  fakes().platformCall("ORVALogEndChildAfter", Hex{uCode});
}

void ORVAFSRefuseOpenParents(int iOn) {
  fakes().platformCall("ORVAFSRefuseOpenParents", iOn);
}

void ORVAStoreOnListed(ORVALISTED, void*) {
  fakes().platformCall("ORVAStoreOnListed");
}

void ORVAStoreAskBeforeList(ORVALISTGUARD, void*) {
  fakes().platformCall("ORVAStoreAskBeforeList");
}

}  // extern "C"
