/// \file shares.h
/// The shared folders of the server.

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

/// The names of the shares; their folders are not looked at. \throw Failure when they cannot be read.
std::vector<std::string> shareNames();

/// Reads all shares. \throw Failure when they cannot be read.
Shares readShares();

/// Why a share cannot be used, and how to repair it; empty when it can be used.
std::string whyUnusable(const ORVASHARE& share);

/// Like whyUnusable(), for the name of a share, which need not exist.
std::string whyShareUnusable(const std::string& strShare);

/// Tells whether a share is defined; it may be unusable.
bool isShareDefined(const std::string& strShare);

}  // namespace Host
