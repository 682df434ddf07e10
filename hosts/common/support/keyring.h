/// \file keyring.h
/// The keyring of a session: secrets that all processes of the session can use.

#pragma once

namespace Host {

/// Gives the calling process, and those that it starts, a new and empty one. \return false with errno on failure.
bool takeNewKeyring();

}  // namespace Host
