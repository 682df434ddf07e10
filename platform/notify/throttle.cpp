// Each key has a small file, /var/lib/orva/notify/KEY: the time of the last notice, and the number of notices held back
// since then.

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "notify/notifier.h"
#include "shares/own_folder.h"
#include "support/log.h"
#include "support/unique_fd.h"

namespace orva {
namespace {

constexpr const char* STATE_FOLDER = "/var/lib/orva/notify";
constexpr std::time_t SECONDS_BETWEEN = 600;

struct State {
  long long llLast = 0;
  unsigned cSuppressed = 0;
};

// A state that cannot be read or parsed counts as missing.
State readState(int fd) {
  constexpr long long N_SUPPRESSED_MAX = 1'000'000'000;
  char szText[64] = "";
  if (pread(fd, szText, sizeof szText - 1, 0) <= 0) {
    return {};
  }
  char* szRest = nullptr;
  const long long llLast = std::strtoll(szText, &szRest, 10);
  const long long llSuppressed = std::strtoll(szRest, nullptr, 10);
  const bool blSane = llLast >= 0 && llSuppressed >= 0 && llSuppressed < N_SUPPRESSED_MAX;
  return blSane ? State{llLast, static_cast<unsigned>(llSuppressed)} : State{};
}

bool writeState(int fd, const State& state) {
  // Fixed width, so that one write replaces the whole file.
  const std::string strText = fmt::format("{:20} {:10}\n", state.llLast, state.cSuppressed);
  return pwrite(fd, strText.data(), strText.size(), 0) == static_cast<ssize_t>(strText.size());
}

UniqueFd openState(const std::string& strKey) {
  if (!makeOwnFolder(STATE_FOLDER, 0755)) {
    return {};
  }
  const std::string strPath = std::string(STATE_FOLDER) + "/" + strKey;
  UniqueFd fd(open(strPath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  return fd && flock(fd.get(), LOCK_EX) == 0 ? std::move(fd) : UniqueFd();
}

}  // namespace

bool admitNotification(const std::string& strKey, std::time_t now, unsigned& cSuppressed) {
  cSuppressed = 0;
  const UniqueFd fd = openState(strKey);
  if (!fd) {
    logError("cannot store the time of notification %s: %s", strKey.c_str(), strerror(errno));
    return true;
  }
  State state = readState(fd.get());
  // If the clock was set back, send at once instead of waiting until it has caught up.
  const bool blAdmitted = now < state.llLast || now - state.llLast >= SECONDS_BETWEEN;
  cSuppressed = state.cSuppressed;
  state = blAdmitted ? State{now, 0} : State{state.llLast, state.cSuppressed + 1};
  if (!writeState(fd.get(), state)) {
    logError("cannot store the time of notification %s: %s", strKey.c_str(), strerror(errno));
    return true;
  }
  return blAdmitted;
}

}  // namespace orva
