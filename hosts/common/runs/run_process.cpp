#include "run_process.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "common/support/process.h"

namespace Host {

namespace {

constexpr char HOST_NAME[] = "eorva";
constexpr char RUN_NAME[] = "eorva-run";
constexpr std::string_view LIBRARY_NAME = "libeorvascheduler.so.";

/// A loaded file with the name of the library.
struct LoadedFile {
  std::string strFolder;
  std::optional<uid_t> owner;  ///< nothing when this process may not know it, as in some containers
};

/// The owner of the file that is mapped at the addresses of the line. The file may have been deleted, so its name is
/// not used.
std::optional<uid_t> ownerOf(pid_t pid, const std::string& strLine) {
  unsigned long iBegin = 0;
  unsigned long iEnd = 0;
  constexpr int HEXADECIMAL = 16;
  const char* pLast = strLine.data() + strLine.size();
  const auto begin = std::from_chars(strLine.data(), pLast, iBegin, HEXADECIMAL);
  if (begin.ec != std::errc() || begin.ptr == pLast ||
      std::from_chars(begin.ptr + 1, pLast, iEnd, HEXADECIMAL).ec != std::errc()) {
    return std::nullopt;
  }
  struct stat info{};
  const std::string strFile = fmt::format("/proc/{}/map_files/{:x}-{:x}", pid, iBegin, iEnd);
  return stat(strFile.c_str(), &info) == 0 ? std::optional(info.st_uid) : std::nullopt;
}

std::vector<LoadedFile> loadedFiles(pid_t pid) {
  std::vector<LoadedFile> vecFiles;
  std::ifstream maps(fmt::format("/proc/{}/maps", pid));
  for (std::string strLine; std::getline(maps, strLine);) {
    const std::size_t iPath = strLine.find('/');
    const std::size_t iName = strLine.rfind('/');
    if (iPath == std::string::npos || strLine.compare(iName + 1, LIBRARY_NAME.size(), LIBRARY_NAME) != 0) {
      continue;
    }
    const std::string strFolder = strLine.substr(iPath, iName - iPath);
    if (vecFiles.empty() || vecFiles.back().strFolder != strFolder) {
      vecFiles.push_back({strFolder, ownerOf(pid, strLine)});
    }
  }
  return vecFiles;
}

/// Any user can create a file with this name, but not in the folder of the installed one. After an upgrade, processes
/// keep the old file.
bool isInstalled(const LoadedFile& file, const LoadedFile& own) {
  return file.strFolder == own.strFolder && (!file.owner || !own.owner || *file.owner == *own.owner);
}

}  // namespace

void takeHostName() {
  prctl(PR_SET_NAME, HOST_NAME);
}

void takeRunName() {
  prctl(PR_SET_NAME, RUN_NAME);
}

bool hasLibraryLoaded(pid_t pid) {
  const std::vector<LoadedFile> vecFiles = loadedFiles(pid);
  const std::vector<LoadedFile> vecOwn = vecFiles.empty() ? vecFiles : loadedFiles(getpid());
  return std::any_of(vecFiles.begin(), vecFiles.end(), [&](const LoadedFile& file) {
    return std::any_of(vecOwn.begin(), vecOwn.end(), [&](const LoadedFile& own) { return isInstalled(file, own); });
  });
}

bool isRunProcess(pid_t pid) {
  const bool blLoaded = hasLibraryLoaded(pid);
  // Checked last: a zombie no longer shows which files it had loaded. Its parent, which is about to close the run,
  // does.
  const std::optional<ProcessStatus> status = processStatus(pid);
  return status && status->strName != HOST_NAME &&
         (blLoaded || (status->isEnded() && hasLibraryLoaded(status->pidParent)));
}

}  // namespace Host
