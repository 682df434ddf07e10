/// \file share_list.h
/// The shares that the server offers.

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct Share {
  std::string strName;
  std::string strPath;    ///< as it is defined, without a final slash
  std::string strVolume;  ///< mount point that must be mounted; empty: as /etc/fstab says
};

/// Code of the platform for a share that is defined but whose volume cannot be used.
constexpr int ERR_SHARE_VOLUME = 0x1400;

/// Tells whether a text can be the name of a share: 1 to 80 bytes of UTF-8 without "/", control characters and
/// blanks at its ends, and neither "." nor "..".
bool isShareName(std::string_view strName);

/// Receives what is wrong with the source of the shares, with its place: a whole sentence.
using ShareFaultSink = std::function<void(const std::string& strFault)>;

/// Writes such a fault to the log.
void logShareFault(const std::string& strFault);

/// Reads the definitions from the source that the setting `sharesource` names: "file" (the default) or "samba".
std::vector<Share> definedShares(const ShareFaultSink& onFault = &logShareFault);

/// What has become of a share.
struct ShareState {
  std::string strPath;    ///< its folder, without links
  std::string strVolume;  ///< mount point that must be mounted; empty: the root file system will do
  int iError = 0;         ///< 0 when it can be used; #ERR_SHARE_VOLUME, or why its path leads to no folder
};

/// Looks at a share. Its volume cannot be used when it is not mounted, is hidden by another mount, or fails when it is
/// asked. On a volume that is there, ENOTDIR says that the path is missing or no folder, EINVAL that it leads to a
/// folder whose name would not stay text in a command.
ShareState shareState(const Share& share);

/// The folder of a share, without links.
/// \param iError  receives why there is none: ENOENT for an unknown share, or as shareState() says.
std::optional<std::string> usableSharePath(std::string_view strName, int& iError);

}  // namespace orva
