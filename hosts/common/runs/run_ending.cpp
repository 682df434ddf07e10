#include "run_ending.h"

#include <utility>

#include "common/support/try_until.h"

namespace Host {

RunEnding::RunEnding(RunGroup group, std::chrono::seconds grace)
    : m_group(std::move(group)), m_deadline(std::chrono::steady_clock::now() + grace) {
  step();
}

bool RunEnding::step() {
  if (m_group.isEmpty()) {
    return true;
  }
  if (std::chrono::steady_clock::now() >= m_deadline) {
    m_group.kill();
  } else if (!m_blAsked) {
    m_blAsked = m_group.ask();
  }
  return false;
}

void endRuns(const std::vector<RunGroup>& vecGroups, std::chrono::seconds grace, std::chrono::seconds last) {
  constexpr std::chrono::milliseconds PAUSE(20);
  std::vector<RunEnding> vecEndings;
  vecEndings.reserve(vecGroups.size());
  for (const RunGroup& group : vecGroups) {
    vecEndings.emplace_back(group, grace);
  }
  tryUntil(grace + last, PAUSE, [&] {
    std::erase_if(vecEndings, [](RunEnding& ending) { return ending.step(); });
    return vecEndings.empty();
  });
}

}  // namespace Host
