#include "start_second.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/support/unique_fd.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

/// Gives up after that: the clock must be standing still.
constexpr int MAX_SECONDS = 30;

bool isClaimed(const std::string& strClaims, const std::set<std::string>& setTasks) {
  return std::any_of(setTasks.begin(), setTasks.end(), [&](const std::string& strTask) {
    return strClaims.find("\n" + strTask + "\n") != std::string::npos;
  });
}

bool isRecorded(Session& session, std::time_t second, const std::set<std::string>& setTasks) {
  const Json::Value jRuns = listRuns(session, fmt::format("start_time = {}", second));
  return std::any_of(jRuns.begin(), jRuns.end(),
                     [&](const Json::Value& jRun) { return setTasks.count(textOf(jRun, "task_name")) > 0; });
}

void waitForNextSecond() {
  constexpr long NANOSECONDS = 1000000000L;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const timespec pause{0, NANOSECONDS - now.tv_nsec - 1};
  nanosleep(&pause, nullptr);
}

void writeClaims(int fd, const std::string& strClaims) {
  if (ftruncate(fd, 0) < 0 ||
      pwrite(fd, strClaims.data(), strClaims.size(), 0) != static_cast<ssize_t>(strClaims.size())) {
    throw Failure(fmt::format("cannot write {}: {}", START_SECOND_PATH, std::strerror(errno)));
  }
}

/// Holds the lock only for a moment.
/// \return false when one of the tasks has been started in this second already.
bool claimThisSecond(Session& session, const std::set<std::string>& setTasks) {
  const UniqueFd fd(open(START_SECOND_PATH, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.isOpen() || flock(fd.get(), LOCK_EX) < 0) {
    throw Failure(fmt::format("cannot lock {}: {}", START_SECOND_PATH, std::strerror(errno)));
  }
  const std::time_t second = std::time(nullptr);
  const std::string strSecond = fmt::format("{}\n", second);
  // The last claim: a line with the second, then a line for each task.
  std::string strClaims = readAll(fd.get(), START_SECOND_PATH);
  if (strClaims.compare(0, strSecond.size(), strSecond) != 0) {
    strClaims = strSecond;
  }
  if (isClaimed(strClaims, setTasks) || isRecorded(session, second, setTasks)) {
    return false;
  }
  for (const std::string& strTask : setTasks) {
    strClaims += strTask + "\n";
  }
  writeClaims(fd.get(), strClaims);
  return true;
}

}  // namespace

void claimStartSecond(Session& session, const std::set<std::string>& setTasks) {
  for (int i = 0; i < MAX_SECONDS && !claimThisSecond(session, setTasks); ++i) {
    waitForNextSecond();
  }
}

}  // namespace Host
