/// \file share_list.h
/// The shares that the server offers.

#pragma once

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

/// Reads the definitions from the source that the setting `sharesource` names: "file" (the default) or "samba".
std::vector<Share> definedShares();

/// The folder of a share, without links.
/// \param iError  receives why there is none: ENOENT for an unknown share, or #ERR_SHARE_VOLUME.
std::optional<std::string> usableSharePath(std::string_view strName, int& iError);

/// The same for a share whose definition is at hand; nothing when its volume cannot be used.
std::optional<std::string> usableSharePath(const Share& share);

}  // namespace orva
