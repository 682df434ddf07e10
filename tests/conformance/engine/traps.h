/// \file traps.h
/// Traps of a local user: files with the name of a file that the library is about to write.

#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/files.h"

namespace OrvaTest {

/// A file that a trap leads to.
class Victim {
public:
  Victim() { writeFile(path(), "victim", 0600); }

  std::string path() const { return m_folder.path("victim"); }
  bool isUnharmed() const { return readFile(path()) == "victim" && fileMode(path()) == 0600; }

private:
  TempDir m_folder;
};

struct Trap {
  std::string strName;
  std::function<void(const std::string& strPlace, const std::string& strVictim)> plant;
  bool blFolder = false;  ///< it cannot be replaced
};

constexpr uid_t UID_STRANGER = 4002;

inline std::vector<Trap> traps() {
  return {
      {"link",
       [](const auto& strPlace, const auto& strVictim) { std::filesystem::create_symlink(strVictim, strPlace); }},
      {"dangling link",
       [](const auto& strPlace, const auto& strVictim) { std::filesystem::create_symlink(strVictim + "2", strPlace); }},
      {"hard link",
       [](const auto& strPlace, const auto& strVictim) { std::filesystem::create_hard_link(strVictim, strPlace); }},
      {"pipe", [](const auto& strPlace, const auto&) { ::mkfifo(strPlace.c_str(), 0666); }},
      {"stranger's file",
       [](const auto& strPlace, const auto&) {
         writeFile(strPlace, "strange", 0666);
         ::chmod(strPlace.c_str(), 0666);
         [[maybe_unused]] const int iResult = ::chown(strPlace.c_str(), UID_STRANGER, UID_STRANGER);
       }},
      {"folder", [](const auto& strPlace, const auto&) { std::filesystem::create_directory(strPlace); }, true},
  };
}

inline bool isPlainFileOf(uid_t uid, const std::string& strPath) {
  struct stat info{};
  return ::lstat(strPath.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_nlink == 1 && info.st_uid == uid;
}

}  // namespace OrvaTest
