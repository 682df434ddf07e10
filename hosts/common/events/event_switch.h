/// \file event_switch.h
/// A word about an event that will not happen by itself.

#pragma once

#include <string>

namespace Host {

/// Tells that what fires an event of the catalogue is switched off.
/// \return empty when it is not, or when nobody can tell.
std::string disabledEventNote(const std::string& strEvent);

}  // namespace Host
