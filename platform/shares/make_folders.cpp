// Folders are created from the root down, each through the descriptor of its parent, so that nobody can insert a link
// between a check and its use. No component may be a link, not even an existing one. ORVASharePathGet() resolves links
// in the path of a share; below the share, links belong to users and must not be followed. "." and repeated slashes are
// skipped, ".." is refused.

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "orva_platform.h"

#include "support/boundary.h"
#include "support/unique_fd.h"

namespace {

using orva::UniqueFd;

bool g_blRefuseOpenParents = false;  // see ORVAFSRefuseOpenParents()

struct FolderForm {
  uid_t uid;
  gid_t gid;
  mode_t mode;
};

int splitPath(std::string_view strPath, std::vector<std::string>& vecComponent) {
  while (!strPath.empty()) {
    const std::size_t uEnd = strPath.find('/');
    const std::string_view strComponent = strPath.substr(0, uEnd);
    strPath.remove_prefix(uEnd == std::string_view::npos ? strPath.size() : uEnd + 1);
    if (strComponent == "..") {
      FAIL_WITH(EINVAL);
    }
    if (!strComponent.empty() && strComponent != ".") {
      vecComponent.emplace_back(strComponent);
    }
  }
  return 0;
}

// Opening a link as a folder gives ENOTDIR. Returns ELOOP for a link.
int reasonAgainst(int fdParent, const std::string& strName) {
  const int iErrno = errno;
  struct stat status{};
  const bool blLink = fstatat(fdParent, strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  return blLink ? ELOOP : iErrno;
}

UniqueFd openFolder(int fdParent, const std::string& strName, int iHow) {
  return UniqueFd(openat(fdParent, strName.c_str(), iHow | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Sets the owner and the exact mode of the new folder, and keeps an inherited set-group-id bit. The opened folder must
// be the created one, because it can be replaced in a parent where others may rename.
int formFolder(int fdFolder, const FolderForm& form) {
  struct stat status{};
  if (fstat(fdFolder, &status) != 0) {
    FAIL_WITH(errno);
  }
  if (status.st_uid != geteuid() || (status.st_mode & 07777 & ~(form.mode | S_ISGID)) != 0) {
    FAIL_WITH(EPERM);
  }
  const bool blOwner = form.uid != static_cast<uid_t>(-1) || form.gid != static_cast<gid_t>(-1);
  if (blOwner && fchown(fdFolder, form.uid, form.gid) != 0) {
    FAIL_WITH(errno);
  }
  const mode_t mode = form.mode | (status.st_mode & S_ISGID);
  if ((blOwner || (status.st_mode & 07777) != mode) && fchmod(fdFolder, mode) != 0) {
    FAIL_WITH(errno);
  }
  return 0;
}

// Opens a component, and creates it if it is missing and this is allowed.
int enter(UniqueFd& fdFolder, const std::string& strName, bool blMake, const FolderForm& form) {
  UniqueFd fdNext = openFolder(fdFolder.get(), strName, O_PATH);
  if (!fdNext && errno == ENOENT && blMake) {
    const bool blMade = mkdirat(fdFolder.get(), strName.c_str(), form.mode) == 0;
    // If another process has created it meanwhile, it is not changed.
    if (!blMade && errno != EEXIST) {
      FAIL_WITH(errno);
    }
    fdNext = openFolder(fdFolder.get(), strName, blMade ? O_RDONLY : O_PATH);
    if (fdNext && blMade && formFolder(fdNext.get(), form) < 0) {
      return -1;
    }
  }
  if (!fdNext) {
    FAIL_WITH(reasonAgainst(fdFolder.get(), strName));
  }
  fdFolder = std::move(fdNext);
  return 0;
}

int makeFolders(const char* szPath, const char* szRoot, bool blWithLeaf, const FolderForm& form) {
  if (!szPath || szPath[0] != '/' || szRoot || (form.mode & ~mode_t{07777}) != 0) {
    FAIL_WITH(EINVAL);
  }
  std::vector<std::string> vecComponent;
  if (splitPath(szPath, vecComponent) < 0) {
    return -1;
  }
  if (!blWithLeaf && !vecComponent.empty()) {
    vecComponent.pop_back();
  }
  UniqueFd fdFolder(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!fdFolder) {
    FAIL_WITH(errno);
  }
  const bool blOpen = (form.mode & (S_IWGRP | S_IWOTH)) != 0;
  for (std::size_t i = 0; i < vecComponent.size(); ++i) {
    const bool blLast = i + 1 == vecComponent.size();
    const bool blMake = blLast || !blOpen || !g_blRefuseOpenParents;
    if (enter(fdFolder, vecComponent[i], blMake, form) < 0) {
      return -1;
    }
  }
  return 0;
}

}  // namespace

extern "C" int ORVAFSMkdirP(const char* szPath, const char* szRoot, int iWithLeaf, uid_t uid, gid_t gid, mode_t mode) {
  return orva::guarded([&] { return makeFolders(szPath, szRoot, iWithLeaf != 0, FolderForm{uid, gid, mode}); });
}

extern "C" void ORVAFSRefuseOpenParents(int iOn) {
  g_blRefuseOpenParents = iOn != 0;
}
