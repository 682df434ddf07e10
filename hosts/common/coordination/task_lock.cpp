#include "task_lock.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <optional>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"
#include "runtime_folder.h"

namespace Host {

namespace {

using namespace std::chrono_literals;

/// A change is short, but may have to wait for the store.
constexpr auto CHANGE_LIMIT = 60s;

/// Pause between two tries.
constexpr auto LOCK_PAUSE = 20ms;

/// Each task has two bytes of the lock file, which stays empty: locks can lie behind the end of a file. Their offsets
/// are hashes of the name, so that two tasks are unlikely to share one. The locks of records are in the lower half of
/// the possible offsets, those of turns in the upper half.
enum class LockKind : std::uint8_t { RECORD = 0, TURN = 1 };

constexpr std::int64_t HALF = std::int64_t{1} << 62;

std::int64_t offsetOf(const std::string& strTask, LockKind kind) {
  std::uint64_t hash = 0xcbf29ce484222325U;  // FNV-1a
  for (const char c : strTask) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  return static_cast<std::int64_t>(hash >> 2) + (kind == LockKind::TURN ? HALF : 0);
}

/// As a length: to the end of the file.
constexpr std::int64_t TO_THE_END = 0;

bool setLock(int fd, short iType, std::int64_t iStart, std::int64_t cb) {
  struct flock lock{};
  lock.l_type = iType;
  lock.l_whence = SEEK_SET;
  lock.l_start = iStart;
  lock.l_len = cb;
  if (fcntl(fd, F_OFD_SETLK, &lock) == 0) {
    return true;
  }
  if (errno != EAGAIN && errno != EACCES) {
    throw Failure(fmt::format("cannot lock {}: {}", TASK_LOCK_PATH, std::strerror(errno)));
  }
  return false;
}

bool lockTask(int fd, short iType, const std::string& strTask, LockKind kind) {
  return setLock(fd, iType, offsetOf(strTask, kind), 1);
}

void unlock(int fd, const std::string& strTask, LockKind kind) {
  lockTask(fd, F_UNLCK, strTask, kind);
}

/// Takes all of the locks or none, so that two executions cannot wait for each other.
/// \return a task that was still locked when the time was up; nothing on success.
std::optional<std::string> lockAll(int fd, short iType, const std::vector<std::string>& vecTasks, LockKind kind,
                                   std::chrono::milliseconds limit) {
  std::optional<std::string> busy;
  tryUntil(limit, LOCK_PAUSE, [&] {
    const auto it = std::find_if(vecTasks.begin(), vecTasks.end(),
                                 [&](const std::string& strTask) { return !lockTask(fd, iType, strTask, kind); });
    if (it == vecTasks.end()) {
      busy.reset();
      return true;
    }
    std::for_each(vecTasks.begin(), it, [&](const std::string& strTask) { unlock(fd, strTask, kind); });
    busy = *it;
    return false;
  });
  return busy;
}

UniqueFd openLockFile() {
  makeRuntimeFolder();
  UniqueFd fd(open(TASK_LOCK_PATH, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fd.isOpen()) {
    throw Failure(fmt::format("cannot open {}: {}", TASK_LOCK_PATH, std::strerror(errno)));
  }
  return fd;
}

}  // namespace

TaskLock::TaskLock() : m_fd(openLockFile()) {}

void TaskLock::announce(const std::vector<std::string>& vecTasks) {
  if (const auto busy = lockAll(m_fd.get(), F_RDLCK, vecTasks, LockKind::RECORD, CHANGE_LIMIT)) {
    throw Failure(fmt::format("the task \"{}\" is being changed by another command; gave up after {} s", *busy,
                              CHANGE_LIMIT.count()));
  }
}

/// One after the other, always in the same order: so executions cannot wait for each other in a circle, and one that
/// wants many turns is not left behind by those that want few.
bool TaskLock::takeTurn(std::vector<std::string> vecTasks, std::chrono::milliseconds limit) {
  std::sort(vecTasks.begin(), vecTasks.end(), [](const std::string& strLeft, const std::string& strRight) {
    return offsetOf(strLeft, LockKind::TURN) < offsetOf(strRight, LockKind::TURN);
  });
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (const std::string& strTask : vecTasks) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (!tryUntil(std::max(left, std::chrono::milliseconds(0)), LOCK_PAUSE,
                  [&] { return lockTask(m_fd.get(), F_WRLCK, strTask, LockKind::TURN); })) {
      endTurns();
      return false;
    }
  }
  return true;
}

void TaskLock::endTurns() {
  setLock(m_fd.get(), F_UNLCK, HALF, TO_THE_END);
}

void TaskLock::withdraw(const std::string& strTask) {
  unlock(m_fd.get(), strTask, LockKind::RECORD);
}

std::optional<std::string> TaskLock::tryChange(const std::vector<std::string>& vecTasks,
                                               std::chrono::milliseconds limit) {
  return lockAll(m_fd.get(), F_WRLCK, vecTasks, LockKind::RECORD, limit);
}

bool TaskLock::tryChangeAll(std::chrono::milliseconds limit) {
  return tryUntil(limit, LOCK_PAUSE, [&] { return setLock(m_fd.get(), F_WRLCK, 0, TO_THE_END); });
}

}  // namespace Host
