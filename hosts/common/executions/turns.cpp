#include "turns.h"

#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

constexpr std::chrono::minutes LIMIT(10);
constexpr std::chrono::seconds CLOSE_LIMIT(10);

void waitForNextSecond() {
  constexpr long NANOSECONDS = 1000000000L;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const timespec pause{0, NANOSECONDS - now.tv_nsec - 1};
  nanosleep(&pause, nullptr);
}

bool isUsed(Session& session, std::time_t second, const std::vector<std::string>& vecTasks) {
  std::vector<std::string> vecNames;
  vecNames.reserve(vecTasks.size());
  for (const std::string& strTask : vecTasks) {
    vecNames.push_back(sqlText(strTask));
  }
  return hasRun(session,
                fmt::format("task_name in ({}) and start_time = {}", fmt::join(vecNames, ", "), storedTime(second)));
}

}  // namespace

void Turns::takeToStart(Session& session, const std::vector<std::string>& vecTasks) {
  end();
  if (!m_lock.takeTurn(vecTasks, LIMIT)) {
    throw Failure(fmt::format("another execution has been starting or closing {} for more than ten minutes",
                              fmt::join(vecTasks, ", ")));
  }
  while (isUsed(session, std::time(nullptr), vecTasks)) {
    waitForNextSecond();
  }
}

void Turns::takeToClose(const std::string& strTask) {
  end();
  m_lock.takeTurn({strTask}, CLOSE_LIMIT);
}

}  // namespace Host
