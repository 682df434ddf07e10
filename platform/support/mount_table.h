/// \file mount_table.h
/// What is mounted now, and what should be.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct MountPoint {
  std::string strTarget;
  int iId = 0;            ///< the kernel's number of the mount
  bool blPseudo = false;  ///< holds no data that is kept: proc, tmpfs, overlay...
  bool blNetwork = false;
  std::string strDevice;  ///< the file system's device number, the same for every mount of it
};

/// Every mount of this mount namespace, later ones last.
std::vector<MountPoint> currentMounts();

/// The mount points that /etc/fstab names, without the root.
std::vector<std::string> configuredMountPoints();

/// Tells whether a path is a folder or lies below it; both without a final slash.
bool isWithin(std::string_view strPath, std::string_view strFolder);

/// The mount that a path leads to now; nothing when the path does not exist.
std::optional<MountPoint> mountHolding(const std::vector<MountPoint>& vecMount, const std::string& strPath);

/// Tells whether a mount can be reached under its own name, and no later mount hides it.
bool isReachable(const MountPoint& mount);

/// A path without links; nothing when it does not exist.
std::optional<std::string> resolvedPath(const std::string& strPath);

/// A path without links, as far as it exists: the first component that is missing is its last.
/// \param iError  receives 0 when all of it exists, else why not, as an errno value.
std::string reachedPath(const std::string& strPath, int& iError);

/// Bytes that an unprivileged writer may use; nothing for a file system that is read-only, has no room of its own
/// (the kernel's own ones) or cannot be asked.
std::optional<unsigned long long> freeBytes(const std::string& strFolder);

}  // namespace orva
