#include "shares/share_list.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

#include "settings/server_settings.h"
#include "settings/text_line.h"
#include "shares/samba_shares.h"
#include "shares/share_file.h"
#include "support/log.h"
#include "texts/utf8.h"
#include "volumes/mount_table.h"

namespace orva {
namespace {

constexpr std::size_t CB_NAME_MAX = 80;

// The mount point that should hold a path; empty when none but the root file system does.
std::string expectedVolume(const Share& share, const std::string& strPath) {
  if (!share.strVolume.empty()) {
    return resolvedPath(share.strVolume).value_or(share.strVolume);
  }
  std::string strExpected;
  for (const std::string& strTarget : configuredMountPoints()) {
    if (isWithin(strPath, strTarget) && strTarget.size() > strExpected.size()) {
      strExpected = strTarget;
    }
  }
  return strExpected;
}

bool isMounted(const std::string& strTarget) {
  const std::vector<MountPoint> vecMount = currentMounts();
  return std::any_of(vecMount.begin(), vecMount.end(), [&strTarget](const MountPoint& mount) {
    return mount.strTarget == strTarget && isReachable(mount);
  });
}

bool isFolder(const std::string& strPath) {
  struct stat status{};
  return stat(strPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

bool isShareName(std::string_view strName) {
  return !strName.empty() && strName.size() <= CB_NAME_MAX && strName != "." && strName != ".." &&
         trimmed(strName) == strName && strName.find('/') == std::string_view::npos &&
         std::none_of(strName.begin(), strName.end(), isControl) && isUtf8(strName);
}

std::vector<Share> definedShares() {
  const std::string strSource = serverSetting("sharesource", "file");
  if (strSource == "samba") {
    return sambaShares();
  }
  if (strSource != "file") {
    logError("setting sharesource is \"%s\", neither \"file\" nor \"samba\"", repairedUtf8(strSource).c_str());
  }
  return strSource == "file" ? fileShares() : std::vector<Share>();
}

std::optional<std::string> usableSharePath(const Share& share) {
  const auto path = resolvedPath(share.strPath);
  if (!path || !isFolder(*path)) {
    return std::nullopt;
  }
  const std::string strVolume = expectedVolume(share, *path);
  return strVolume.empty() || isMounted(strVolume) ? path : std::nullopt;
}

std::optional<std::string> usableSharePath(std::string_view strName, int& iError) {
  iError = ENOENT;
  if (!isShareName(strName)) {
    return std::nullopt;
  }
  for (const Share& share : definedShares()) {
    if (share.strName == strName) {
      iError = ERR_SHARE_VOLUME;
      return usableSharePath(share);
    }
  }
  return std::nullopt;
}

}  // namespace orva
