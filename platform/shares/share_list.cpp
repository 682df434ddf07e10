#include "shares/share_list.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <sys/stat.h>

#include "settings/server_settings.h"
#include "settings/text_line.h"
#include "shares/samba_shares.h"
#include "shares/share_file.h"
#include "support/log.h"
#include "support/mount_table.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr std::size_t CB_NAME_MAX = 80;

// The expected mount point of a path; empty for the root file system. Both the resolved path and the defined path
// count, because folders may be missing while the volume is not mounted.
std::string expectedVolume(const Share& share, const std::string& strReached) {
  if (!share.strVolume.empty()) {
    return resolvedPath(share.strVolume).value_or(share.strVolume);
  }
  std::string strExpected;
  for (const std::string& strTarget : configuredMountPoints()) {
    if ((isWithin(strReached, strTarget) || isWithin(share.strPath, strTarget)) &&
        strTarget.size() > strExpected.size()) {
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

// Why a path on a mounted volume is not a usable folder; 0 when it is.
int reasonAgainst(const std::string& strPath, int iError) {
  struct stat status{};
  if (iError == 0 && stat(strPath.c_str(), &status) != 0) {
    iError = errno;
  }
  switch (iError) {
    case 0:
      // Links may lead to a name that a definition could not have.
      return !S_ISDIR(status.st_mode) ? ENOTDIR : (isPlainForShell(strPath) ? 0 : EINVAL);
    case ENOENT:
    case ENOTDIR:
      return ENOTDIR;
    case ELOOP:
    case EACCES:
    case ENAMETOOLONG:
      return iError;
    default:
      // The volume is mounted but does not work, for example a lost file server or a failing disk.
      return ERR_SHARE_VOLUME;
  }
}

}  // namespace

bool isShareName(std::string_view strName) {
  return !strName.empty() && strName.size() <= CB_NAME_MAX && strName != "." && strName != ".." &&
         trimmed(strName) == strName && strName.find('/') == std::string_view::npos &&
         std::none_of(strName.begin(), strName.end(), isControl) && isUtf8(strName);
}

void logShareFault(const std::string& strFault) {
  logError("%s", strFault.c_str());
}

std::vector<Share> definedShares(const ShareFaultSink& onFault) {
  const std::string strSource = serverSetting("sharesource", "file");
  if (strSource == "samba") {
    return sambaShares(onFault);
  }
  if (strSource == "file") {
    return fileShares(onFault);
  }
  onFault(fmt::format("the setting sharesource is \"{}\"; it must be \"file\" or \"samba\"", repairedUtf8(strSource)));
  return {};
}

ShareState shareState(const Share& share) {
  ShareState state;
  int iError = 0;
  state.strPath = reachedPath(share.strPath, iError);
  state.strVolume = expectedVolume(share, state.strPath);
  const bool blMounted = state.strVolume.empty() || isMounted(state.strVolume);
  state.iError = blMounted ? reasonAgainst(state.strPath, iError) : ERR_SHARE_VOLUME;
  return state;
}

std::optional<std::string> usableSharePath(std::string_view strName, int& iError) {
  iError = ENOENT;
  if (!isShareName(strName)) {
    return std::nullopt;
  }
  for (const Share& share : definedShares()) {
    if (share.strName == strName) {
      const ShareState state = shareState(share);
      iError = state.iError;
      return iError == 0 ? std::optional(state.strPath) : std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace orva
