#include "support/mount_table.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <libmount.h>
#include <limits>
#include <memory>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

namespace orva {
namespace {

// Both names are given, so that environment variables of libmount cannot select other files.
constexpr const char* MOUNTS_PATH = "/proc/self/mountinfo";
constexpr const char* CONFIGURED_PATH = "/etc/fstab";

struct FreeTable {
  void operator()(libmnt_table* pTable) const { mnt_unref_table(pTable); }
};
struct FreeIterator {
  void operator()(libmnt_iter* pIterator) const { mnt_free_iter(pIterator); }
};

template <typename Visit>
void forEachMount(const char* szFile, Visit visit) {
  const std::unique_ptr<libmnt_table, FreeTable> pTable(mnt_new_table_from_file(szFile));
  const std::unique_ptr<libmnt_iter, FreeIterator> pIterator(mnt_new_iter(MNT_ITER_FORWARD));
  libmnt_fs* pMount = nullptr;
  while (pTable && pIterator && mnt_table_next_fs(pTable.get(), pIterator.get(), &pMount) == 0) {
    if (mnt_fs_get_target(pMount)) {
      visit(pMount);
    }
  }
}

// The id of the mount that a path leads to; 0 when the kernel does not give it.
int mountIdOf(const std::string& strPath) {
  struct statx status{};
  const int iResult = statx(AT_FDCWD, strPath.c_str(), AT_NO_AUTOMOUNT, STATX_MNT_ID, &status);
  return iResult == 0 && (status.stx_mask & STATX_MNT_ID) != 0 ? static_cast<int>(status.stx_mnt_id) : 0;
}

}  // namespace

std::vector<MountPoint> currentMounts() {
  std::vector<MountPoint> vecMount;
  forEachMount(MOUNTS_PATH, [&vecMount](libmnt_fs* pMount) {
    const dev_t device = mnt_fs_get_devno(pMount);
    vecMount.push_back({mnt_fs_get_target(pMount), mnt_fs_get_id(pMount), mnt_fs_is_pseudofs(pMount) != 0,
                        mnt_fs_is_netfs(pMount) != 0,
                        std::to_string(major(device)) + ":" + std::to_string(minor(device))});
  });
  return vecMount;
}

std::vector<std::string> configuredMountPoints() {
  std::vector<std::string> vecTarget;
  forEachMount(CONFIGURED_PATH, [&vecTarget](libmnt_fs* pMount) {
    const std::string strTarget = mnt_fs_get_target(pMount);
    if (strTarget.front() == '/' && strTarget != "/") {
      vecTarget.push_back(resolvedPath(strTarget).value_or(strTarget));
    }
  });
  return vecTarget;
}

bool isWithin(std::string_view strPath, std::string_view strFolder) {
  return strFolder == "/" || strPath == strFolder ||
         (strPath.starts_with(strFolder) && strPath[strFolder.size()] == '/');
}

std::optional<MountPoint> mountHolding(const std::vector<MountPoint>& vecMount, const std::string& strPath) {
  const int iId = mountIdOf(strPath);
  const MountPoint* pHolding = nullptr;
  for (const MountPoint& mount : vecMount) {
    const bool blCloser = !pHolding || mount.strTarget.size() >= pHolding->strTarget.size();
    if (iId > 0 ? mount.iId == iId : blCloser && isWithin(strPath, mount.strTarget)) {
      pHolding = &mount;
    }
  }
  return pHolding ? std::optional(*pHolding) : std::nullopt;
}

bool isReachable(const MountPoint& mount) {
  const int iId = mountIdOf(mount.strTarget);
  return iId == 0 ? resolvedPath(mount.strTarget).has_value() : iId == mount.iId;
}

std::optional<std::string> resolvedPath(const std::string& strPath) {
  char szResolved[PATH_MAX];
  return realpath(strPath.c_str(), szResolved) ? std::optional<std::string>(szResolved) : std::nullopt;
}

std::string reachedPath(const std::string& strPath, int& iError) {
  char szResolved[PATH_MAX] = "";
  iError = realpath(strPath.c_str(), szResolved) ? 0 : errno;
  // Only for these two errors does realpath() return the part of the path that exists.
  return iError == 0 || iError == ENOENT || iError == EACCES ? szResolved : strPath;
}

std::optional<unsigned long long> freeBytes(const std::string& strFolder) {
  struct statvfs status{};
  if (statvfs(strFolder.c_str(), &status) != 0 || (status.f_flag & ST_RDONLY) != 0 || status.f_blocks == 0) {
    return std::nullopt;
  }
  unsigned long long cbFree = 0;
  const bool blHuge = __builtin_mul_overflow(static_cast<unsigned long long>(status.f_bavail),
                                             static_cast<unsigned long long>(status.f_frsize), &cbFree);
  return blHuge ? std::numeric_limits<unsigned long long>::max() : cbFree;
}

}  // namespace orva
