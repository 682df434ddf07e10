#include "run_ending.h"

#include <utility>

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

}  // namespace Host
