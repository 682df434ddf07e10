/// \file initialize.h
/// Creating the store, the configuration, and what follows from them.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Creates missing files, keeps existing ones, and makes the timers of events as the stored events say.
/// \param strOutputPath  where output is kept from now on, as "SHARE/PATH"; empty keeps what is set, or else takes the
///                       share that is installed for it, if there is one.
/// \return timers that could not be made, a sentence each. \throw Failure that names the file or setting.
std::vector<std::string> initialize(const std::string& strOutputPath);

}  // namespace Host
