/// \file shares.h
/// The shared folders of the server, as the platform knows them.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orva_platform.h"

namespace Host {

using SharePtr = std::unique_ptr<ORVASHARE, decltype(&ORVAShareFree)>;

/// The shares, and what is wrong with their definitions: a text each, with file and line.
struct Shares {
  std::vector<SharePtr> vecShare;
  std::vector<std::string> vecFault;
};

/// The names of the shares; their folders are not looked at. \throw Failure when they cannot be read.
std::vector<std::string> shareNames();

/// Reads all of them. \throw Failure when they cannot be read.
Shares readShares();

/// Why a share cannot be used, and what to type; empty when it can.
std::string whyUnusable(const ORVASHARE& share);

/// The same for a share by its name, which need not be one.
std::string whyShareUnusable(const std::string& strShare);

/// Tells whether there is a share of that name, be it usable or not.
bool isShareDefined(const std::string& strShare);

}  // namespace Host
