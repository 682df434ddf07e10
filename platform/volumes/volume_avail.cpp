// A volume is a mount point. Volumes with a share come first, then other data mounts. Among equals, the one with the
// most free space is chosen. System mounts are volumes only if they have a share.

#include <algorithm>
#include <array>
#include <set>
#include <sys/stat.h>

#include "orva_platform.h"

#include "settings/text_line.h"
#include "shares/share_list.h"
#include "support/boundary.h"
#include "support/copy_out.h"
#include "support/mount_table.h"

namespace {

using orva::MountPoint;

// Folders for mounts of the system and for removable devices.
constexpr std::array<std::string_view, 13> NO_DATA_FOLDERS = {
    "/boot", "/dev", "/efi", "/etc", "/media", "/proc", "/root", "/run", "/sys", "/tmp", "/usr", "/var", "/snap"};

bool isDataMount(const MountPoint& mount) {
  const bool blNoData = mount.strTarget == "/" || std::any_of(NO_DATA_FOLDERS.begin(), NO_DATA_FOLDERS.end(),
                                                              [&mount](std::string_view strFolder) {
                                                                return orva::isWithin(mount.strTarget, strFolder);
                                                              });
  struct stat status{};
  // A mount point can also be a single file.
  return !mount.blPseudo && !mount.blNetwork && !blNoData && orva::isReachable(mount) &&
         stat(mount.strTarget.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::set<std::string> shareMounts(const std::vector<MountPoint>& vecMount) {
  std::set<std::string> setTarget;
  for (const orva::Share& share : orva::definedShares()) {
    const orva::ShareState state = orva::shareState(share);
    const auto mount = state.iError == 0 ? orva::mountHolding(vecMount, state.strPath) : std::nullopt;
    if (mount && orva::isReachable(*mount)) {
      setTarget.insert(mount->strTarget);
    }
  }
  return setTarget;
}

std::set<std::string> dataMounts(const std::vector<MountPoint>& vecMount) {
  std::set<std::string> setTarget;
  std::set<std::string> setDevice;
  // A bind mount of the root file system also belongs to the system.
  for (const MountPoint& mount : vecMount) {
    if (mount.strTarget == "/") {
      setDevice.insert(mount.strDevice);
    }
  }
  for (const MountPoint& mount : vecMount) {
    // Other mounts of the same file system (bind mounts) have the same free space.
    if (isDataMount(mount) && setDevice.insert(mount.strDevice).second) {
      setTarget.insert(mount.strTarget);
    }
  }
  return setTarget;
}

// The volume with the most free space; empty when none has enough.
std::string roomiest(const std::set<std::string>& setTarget, unsigned long long cbMinimum) {
  std::string strBest;
  unsigned long long cbBest = 0;
  for (const std::string& strTarget : setTarget) {
    const auto cbFree = orva::freeBytes(strTarget);
    // A volume's name becomes part of commands.
    if (orva::isPlainForShell(strTarget) && cbFree && *cbFree >= cbMinimum && (strBest.empty() || *cbFree > cbBest)) {
      strBest = strTarget;
      cbBest = *cbFree;
    }
  }
  return strBest;
}

int volumeAvailGet(unsigned long long cbMinimum, char* szVolume, int cbVolume) {
  if (!szVolume || cbVolume <= 0) {
    FAIL_WITH(EINVAL);
  }
  const std::vector<MountPoint> vecMount = orva::currentMounts();
  if (vecMount.empty()) {
    FAIL_WITH(EIO);
  }
  std::string strFound = roomiest(shareMounts(vecMount), cbMinimum);
  if (strFound.empty()) {
    strFound = roomiest(dataMounts(vecMount), cbMinimum);
  }
  if (strFound.empty()) {
    return 0;
  }
  if (!orva::copyOut(strFound, szVolume, cbVolume)) {
    FAIL_WITH(ERANGE);
  }
  return 1;
}

}  // namespace

extern "C" int VolumeAvailGet(unsigned long long cbMinimum, int iReserved1, char* szVolume, int cbVolume,
                              int iReserved2) {
  static_cast<void>(iReserved1);
  static_cast<void>(iReserved2);
  return orva::guarded([&] { return volumeAvailGet(cbMinimum, szVolume, cbVolume); });
}
