// Every volume has a folder for temporary files, "@tmp" in its root. It belongs to root, and every user may write to
// it. On the root file system, this folder is /var/tmp, if that is on the root file system.

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "orva_platform.h"

#include "support/boundary.h"
#include "support/copy_out.h"
#include "support/log.h"
#include "support/mount_table.h"
#include "support/unique_fd.h"

namespace {

using orva::UniqueFd;

constexpr const char* TEMP_NAME = "@tmp";
constexpr const char* ROOT_TEMP_PATH = "/var/tmp";
constexpr mode_t TEMP_MODE = 01777;

bool isTempFolder(const struct stat& status) {
  return S_ISDIR(status.st_mode) && status.st_uid == 0 && (status.st_mode & 07777) == TEMP_MODE;
}

bool rootHasVarTmp() {
  struct stat root{};
  struct stat temp{};
  return lstat("/", &root) == 0 && lstat(ROOT_TEMP_PATH, &temp) == 0 && root.st_dev == temp.st_dev &&
         isTempFolder(temp);
}

// Creates the folder, or uses an existing one of root. A link, a file or another user's folder of this name is refused
// and left unchanged, because root's programs will write below it.
int makeTempFolder(const std::string& strVolume) {
  const UniqueFd fdVolume(open(strVolume.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!fdVolume) {
    FAIL_WITH(errno);
  }
  if (mkdirat(fdVolume.get(), TEMP_NAME, 0700) != 0 && errno != EEXIST) {
    FAIL_WITH(errno);
  }
  const UniqueFd fdTemp(openat(fdVolume.get(), TEMP_NAME, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status{};
  if (!fdTemp || fstat(fdTemp.get(), &status) != 0) {
    const int iError = errno;
    logError("%s/%s is no folder of the system's own: %s", strVolume.c_str(), TEMP_NAME, strerror(iError));
    FAIL_WITH(iError);
  }
  if (status.st_uid != 0) {
    logError("%s/%s belongs to user %u, not to root", strVolume.c_str(), TEMP_NAME, status.st_uid);
    FAIL_WITH(EPERM);
  }
  if (!isTempFolder(status) && fchmod(fdTemp.get(), TEMP_MODE) != 0) {
    FAIL_WITH(errno);
  }
  return 0;
}

int shareTmpPathGet(const char* szVolume, char* szPath, int cbPath) {
  if (!szVolume || !szPath || cbPath <= 0) {
    FAIL_WITH(EINVAL);
  }
  const std::string strVolume = szVolume;
  const auto vecMount = orva::currentMounts();
  if (std::none_of(vecMount.begin(), vecMount.end(),
                   [&strVolume](const orva::MountPoint& mount) { return mount.strTarget == strVolume; })) {
    FAIL_WITH(ENOENT);
  }
  std::string strPath = ROOT_TEMP_PATH;
  if (strVolume != "/" || !rootHasVarTmp()) {
    if (makeTempFolder(strVolume) < 0) {
      return -1;
    }
    strPath = (strVolume == "/" ? "" : strVolume) + "/" + TEMP_NAME;
  }
  if (!orva::copyOut(strPath, szPath, cbPath)) {
    FAIL_WITH(ERANGE);
  }
  return 0;
}

}  // namespace

extern "C" int ORVAShareTmpPathGet(const char* szVolume, char* szPath, int cbPath) {
  return orva::guarded([&] { return shareTmpPathGet(szVolume, szPath, cbPath); });
}
