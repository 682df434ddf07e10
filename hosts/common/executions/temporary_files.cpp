#include "temporary_files.h"

#include <array>
#include <climits>
#include <fmt/format.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/support/paths.h"

namespace Host {

namespace {

/// Free bytes that the library asks of a volume for temporary output.
constexpr unsigned long long CB_TEMPORARY_OUTPUT = 0x500000;

}  // namespace

void removeTemporaryFiles(pid_t pidExecution, const std::set<pid_t>& setChildren) {
  unlink(fmt::format("{}{}", SCRIPT_PREFIX, pidExecution).c_str());
  std::array<char, PATH_MAX> szVolume{};
  std::array<char, PATH_MAX> szFolder{};
  if (VolumeAvailGet(CB_TEMPORARY_OUTPUT, 0, szVolume.data(), static_cast<int>(szVolume.size()), 0) <= 0 ||
      ORVAShareTmpPathGet(szVolume.data(), szFolder.data(), static_cast<int>(szFolder.size())) < 0) {
    return;
  }
  for (const pid_t pid : setChildren) {
    unlink(fmt::format("{}{}{}", szFolder.data(), OUTPUT_SUFFIX, pid).c_str());
  }
}

}  // namespace Host
