#include "shares/samba_shares.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tuple>

#include "process/run.h"
#include "settings/regular_file.h"
#include "settings/section_file.h"
#include "settings/text_line.h"
#include "support/unique_fd.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr const char* TESTPARM_PATH = "/usr/bin/testparm";
constexpr const char* CONFIGURATION_PATH = "/etc/samba/smb.conf";
constexpr std::size_t CB_OUTPUT_MAX = std::size_t{16} << 20;

// Included files can change without a change of smb.conf, so the cache is short.
constexpr std::chrono::seconds KEPT_FOR{60};

using FileState = std::tuple<ino_t, off_t, time_t, long>;

FileState stateOf(const char* szPath) {
  struct stat status{};
  if (stat(szPath, &status) != 0) {
    return {};
  }
  return {status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

std::string lowered(std::string strText) {
  std::transform(strText.begin(), strText.end(), strText.begin(),
                 [](char ch) { return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch | 0x20) : ch; });
  return strText;
}

std::string valueOf(const Section& section, const std::string& strKey) {
  for (const SectionEntry& entry : section.vecEntry) {
    if (lowered(entry.strKey) == strKey) {
      return entry.strValue;
    }
  }
  return "";
}

bool isSharedFolder(const Section& section) {
  constexpr std::array<std::string_view, 4> NO_FOLDERS = {"global", "homes", "printers", "print$"};
  const std::string strPath = valueOf(section, "path");
  return std::find(NO_FOLDERS.begin(), NO_FOLDERS.end(), lowered(section.strName)) == NO_FOLDERS.end() &&
         lowered(valueOf(section, "printable")) != "yes" && lowered(valueOf(section, "available")) != "no" &&
         isShareName(section.strName) && !strPath.empty() && strPath.front() == '/' &&
         strPath.find('%') == std::string::npos;
}

std::optional<std::vector<Share>> askTestparm(const ShareFaultSink& onFault) {
  const UniqueFd fdOut(memfd_create("testparm", MFD_CLOEXEC));
  const int iExit = fdOut ? runProgram({TESTPARM_PATH, "-s", "-l"}, -1, fdOut.get()) : -1;
  if (iExit != 0) {
    onFault(fmt::format("cannot read shares from {}: {}", TESTPARM_PATH,
                        iExit < 0 ? strerror(errno) : fmt::format("exit status {}", iExit)));
    return std::nullopt;
  }
  std::string strOutput;
  if (const int iError = readRegularFile(fmt::format("/proc/self/fd/{}", fdOut.get()), strOutput, CB_OUTPUT_MAX);
      iError != 0) {
    onFault(fmt::format("cannot read the output of {}: {}", TESTPARM_PATH, strerror(iError)));
    return std::nullopt;
  }
  return parseTestparm(strOutput, onFault);
}

}  // namespace

std::vector<Share> parseTestparm(std::string_view strText, const ShareFaultSink& onFault) {
  std::vector<Share> vecShare;
  for (const Section& section : parseSections(strText, [](int, const std::string&) {})) {
    const std::string strPath = valueOf(section, "path");
    if (!isSharedFolder(section)) {
      continue;
    }
    if (isPlainForShell(strPath)) {
      vecShare.push_back({section.strName, strPath, ""});
    } else {
      onFault(repairedUtf8(fmt::format("{}: share \"{}\": \"{}\" has a character that is special to a shell",
                                       CONFIGURATION_PATH, section.strName, strPath)));
    }
  }
  return vecShare;
}

std::vector<Share> sambaShares(const ShareFaultSink& onFault) {
  using std::chrono::steady_clock;
  static std::optional<std::vector<Share>> kept;
  static FileState stateKept;
  static steady_clock::time_point keptUntil;
  // Read the state before the file, so that the next call notices a change in between.
  const FileState state = stateOf(CONFIGURATION_PATH);
  if (!kept || state != stateKept || steady_clock::now() >= keptUntil) {
    kept = askTestparm(onFault);
    stateKept = state;
    keptUntil = steady_clock::now() + KEPT_FOR;
  }
  return kept.value_or(std::vector<Share>());
}

}  // namespace orva
