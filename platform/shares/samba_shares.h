/// \file samba_shares.h
/// Shares of a Samba server, as `testparm -s -l` prints them: includes and synonyms resolved.

#pragma once

#include <string_view>
#include <vector>

#include "shares/share_list.h"

namespace orva {

/// Asks testparm, at most once a minute as long as smb.conf stays as it is. Nothing when it fails; that is reported,
/// and the next call asks again.
std::vector<Share> sambaShares(const ShareFaultSink& onFault);

/// Picks the shares out of testparm's output. Left out are the sections that are no shared folder of their own (global,
/// homes, printers, print$), printers, shares that are not available, and those whose path depends on who asks. One
/// whose path would not stay text in a command is reported besides.
std::vector<Share> parseTestparm(std::string_view strText, const ShareFaultSink& onFault);

}  // namespace orva
