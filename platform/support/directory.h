/// \file directory.h
/// An open folder that closes itself.

#pragma once

#include <dirent.h>
#include <memory>

namespace orva {

struct CloseDirectory {
  void operator()(DIR* pDirectory) const { closedir(pDirectory); }
};
using DirectoryPtr = std::unique_ptr<DIR, CloseDirectory>;

}  // namespace orva
