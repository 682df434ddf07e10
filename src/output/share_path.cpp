// Paths that begin with a share's name.

#include <cerrno>
#include <cstring>

#include "orva_platform.h"

#include "support/boundary.h"
#include "support/check.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

constexpr int CB_PATH = 4096;
// The platform's errno for a known share whose volume is not available.
constexpr int ERR_VOLUME_UNUSABLE = 0x1400;

// Cuts a path like a buffer of that size.
std::string cut(const std::string& strPath) {
  return std::string(strPath.c_str(), strnlen(strPath.c_str(), CB_PATH - 1));
}

int translate(const std::string& strSharePath, std::string& strVolumePath) {
  FAIL_IF_AS(strSharePath.empty(), "strShare.empty()");
  const std::string strCut = cut(strSharePath);
  const std::string::size_type posSlash = strCut.find('/');
  const std::string strShare = strCut.substr(0, posSlash);
  char szPath[CB_PATH] = "";
  errno = 0;
  const int iResult = ORVASharePathGet(strShare.c_str(), szPath, CB_PATH);
  const int iErrno = errno;
  if (0 > iResult || '\0' == szPath[0]) {
    LOG_ERROR("ORVASharePathGet failed, share=%s", strShare.c_str());
    if (ERR_VOLUME_UNUSABLE == iErrno) {
      errorNotify();
    }
    return -1;
  }
  const std::string strPath = szPath;
  strVolumePath = std::string::npos == posSlash ? strPath : cut(strPath + strCut.substr(posSlash));
  return 0;
}

int notifyAdministrators() {
  FAIL_IF_AS(0 != KLIBCExec(SZCMD_DAR_ORVAKBVNOTIFY, "@administrators", "taskscheduler_notify_user_share_volume_error",
                            nullptr, nullptr),
             "0 != KLIBCExec(SZCMD_DAR_ORVAKBVNOTIFY, \"@administrators\", "
             "\"taskscheduler_notify_user_share_volume_error\", NULL, NULL)");
  return 0;
}

}  // namespace

int sharePath2VolumePath(std::string& strSharePath, std::string& strVolumePath) {
  return GUARDED([&] { return translate(strSharePath, strVolumePath); });
}

int errorNotify() {
  return GUARDED([&] { return notifyAdministrators(); });
}
