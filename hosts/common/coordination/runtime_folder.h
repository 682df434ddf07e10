/// \file runtime_folder.h
/// The folder of what concerns processes that live now, and the folders in it: root's alone.

#pragma once

namespace Host {

/// Creates the folder unless it is there.
/// \throw Failure
void makeRuntimeFolder();

/// Creates a folder in it, and itself, unless they are there.
/// \param szPath  the whole path.
/// \throw Failure
void makeRuntimeFolder(const char* szPath);

}  // namespace Host
