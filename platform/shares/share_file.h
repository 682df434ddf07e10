/// \file share_file.h
/// Shares from the server's own definition file, /etc/orva/shares.conf:
///
///     [NAME]
///     path = /absolute/path
///     volume = /mount/point
///
/// `volume` is optional.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "shares/share_list.h"

namespace orva {

/// Reads the file; a missing file means no shares. A definition with an error is reported with its line, and only this
/// share is left out.
std::vector<Share> fileShares(const ShareFaultSink& onFault);

/// Reads the definitions in a text.
/// \param strFile  the name of the file, for the reports.
std::vector<Share> parseShares(const std::string& strFile, std::string_view strText, const ShareFaultSink& onFault);

}  // namespace orva
