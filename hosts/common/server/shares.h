/// \file shares.h
/// The shared folders of the server, as the platform knows them.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orva_platform.h"

namespace Host {

using SharePtr = std::unique_ptr<ORVASHARE, decltype(&ORVAShareFree)>;

/// The shares, and the errors in their definitions: a text each, with file and line.
struct Shares {
  std::vector<SharePtr> vecShare;
  std::vector<std::string> vecFault;
};

/// Reads all shares. \throw Failure when they cannot be read.
Shares readShares();

/// Why a share cannot be used, and how to repair it; empty when it can be used.
std::string whyUnusable(const ORVASHARE& share);

/// The same by a name, which may be unknown.
std::string whyShareUnusable(const std::string& strShare);

/// Tells whether a share of that name is defined, usable or not.
bool isShareDefined(const std::string& strShare);

}  // namespace Host
