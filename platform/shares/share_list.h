/// \file share_list.h
/// The shares of the server.

#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orva {

struct Share {
  std::string strName;
  std::string strPath;    ///< as defined, without a final slash
  std::string strVolume;  ///< mount point that must be mounted; empty: from /etc/fstab
};

/// The platform's error code for a defined share whose volume is not available.
constexpr int ERR_SHARE_VOLUME = 0x1400;

/// Tells whether a text can be the name of a share: 1 to 80 bytes of UTF-8 without "/", control characters and
/// blanks at its ends, and neither "." nor "..".
bool isShareName(std::string_view strName);

/// Receives an error in the source of the shares, with its place, as a whole sentence.
using ShareFaultSink = std::function<void(const std::string& strFault)>;

/// Logs such an error.
void logShareFault(const std::string& strFault);

/// Reads the definitions from the source that the setting `sharesource` names: "file" (the default) or "samba".
std::vector<Share> definedShares(const ShareFaultSink& onFault = &logShareFault);

/// The present state of a share.
struct ShareState {
  std::string strPath;    ///< its folder, without links
  std::string strVolume;  ///< mount point that must be mounted; empty: the root file system
  int iError = 0;         ///< 0 when it is available; else #ERR_SHARE_VOLUME or the reason why its path is not usable
};

/// Reads the state of a share. Its volume is not available when it is not mounted, another mount hides it, or it
/// returns errors. If the volume is available, ENOTDIR means that the path is missing or not a folder, and EINVAL that
/// it leads to a folder whose name is special to a shell.
ShareState shareState(const Share& share);

/// The folder of a share, without links.
/// \param iError  receives the reason for no result: ENOENT for an unknown share, or the code from shareState().
std::optional<std::string> usableSharePath(std::string_view strName, int& iError);

}  // namespace orva
