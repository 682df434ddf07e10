/// \file mount_table.h
/// The current mounts, and those of /etc/fstab.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct MountPoint {
  std::string strTarget;
  int iId = 0;            ///< the kernel's id of the mount
  bool blPseudo = false;  ///< has no persistent data: proc, tmpfs, overlay...
  bool blNetwork = false;
  std::string strDevice;  ///< the file system's device number, the same for every mount of it
};

/// Every mount of this mount namespace, in mount order.
std::vector<MountPoint> currentMounts();

/// The mount points that /etc/fstab names, without the root.
std::vector<std::string> configuredMountPoints();

/// Tells whether a path is the folder or below it; both without a final slash.
bool isWithin(std::string_view strPath, std::string_view strFolder);

/// The mount that a path leads to now; nothing when the path does not exist.
std::optional<MountPoint> mountHolding(const std::vector<MountPoint>& vecMount, const std::string& strPath);

/// Tells whether a mount can be reached by its own name, so that no later mount hides it.
bool isReachable(const MountPoint& mount);

/// A path without links; nothing when it does not exist.
std::optional<std::string> resolvedPath(const std::string& strPath);

/// Resolves the links of a path as far as it exists. The first missing component is the last of the result.
/// \param iError  receives 0 when the whole path exists, else an errno value.
std::string reachedPath(const std::string& strPath, int& iError);

/// Free bytes for an unprivileged user; nothing for a file system that is read-only, has no storage (kernel file
/// systems), or returns an error.
std::optional<unsigned long long> freeBytes(const std::string& strFolder);

}  // namespace orva
