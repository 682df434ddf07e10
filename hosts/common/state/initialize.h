/// \file initialize.h
/// Creating the store and the configuration.

#pragma once

#include <string>

namespace Host {

/// Creates missing files, and keeps existing ones.
/// \param strOutputPath  where output is kept from now on, as "SHARE/PATH"; empty keeps what is set, or else takes the
///                       share that is installed for it, if there is one.
/// \throw Failure that names the file or setting.
void initialize(const std::string& strOutputPath);

}  // namespace Host
