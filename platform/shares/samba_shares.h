/// \file samba_shares.h
/// Shares of a Samba server, as `testparm -s -l` prints them: includes and synonyms resolved.

#pragma once

#include <string_view>
#include <vector>

#include "shares/share_list.h"

namespace orva {

/// Runs testparm, at most once a minute while smb.conf is unchanged. If it fails, the result is empty, the failure is
/// reported, and the next call runs it again.
std::vector<Share> sambaShares(const ShareFaultSink& onFault);

/// Parses testparm's output. It leaves out sections that are not a single shared folder (global, homes, printers,
/// print$), printers, unavailable shares, and shares whose path depends on the client. A share whose path has
/// characters that are special to a shell is left out and reported.
std::vector<Share> parseTestparm(std::string_view strText, const ShareFaultSink& onFault);

}  // namespace orva
