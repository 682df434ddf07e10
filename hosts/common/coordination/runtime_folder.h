/// \file runtime_folder.h
/// The folder /run/eorva and the folders in it; only root can read them.

#pragma once

namespace Host {

/// Creates the folder if it is missing.
/// \throw Failure
void makeRuntimeFolder();

/// Creates the folder and one in it if they are missing.
/// \param szPath  the whole path.
/// \throw Failure
void makeRuntimeFolder(const char* szPath);

}  // namespace Host
