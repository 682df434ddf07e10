#include "farewell.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <fmt/format.h>
#include <string>
#include <unistd.h>

#include "common/text/json_members.h"
#include "quiet_terminal.h"

namespace {

constexpr std::array SIGNALS = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::size_t MAX_RUNS = 10;

/// The text, prepared in advance: a signal handler cannot format it.
struct FarewellText {
  std::array<char, 4096> text{};
  std::size_t cb = 0;
};

/// Two texts: one is written while the signal handler may read the other.
std::array<FarewellText, 2> g_words;
std::atomic<const FarewellText*> g_pWords = g_words.data();
static_assert(std::atomic<const FarewellText*>::is_always_lock_free);

void setWords(const std::string& strText) {
  FarewellText& words = g_pWords == g_words.data() ? g_words[1] : g_words[0];
  words.cb = strText.copy(words.text.data(), words.text.size());
  g_pWords = &words;
}

void sayThatItGoesOn(int iSignal) {
  QuietTerminal::restore();
  const FarewellText* pWords = g_pWords;
  [[maybe_unused]] const ssize_t cb = write(STDERR_FILENO, pWords->text.data(), pWords->cb);
  constexpr int ENDED_BY_SIGNAL = 128;
  _exit(ENDED_BY_SIGNAL + iSignal);
}

std::string textOf(pid_t pidWatch, const std::map<Json::Int64, Json::Value>& mapRuns) {
  std::string strText = fmt::format("\neorva: the execution continues in the background, in process {}\n", pidWatch);
  std::size_t cRunning = 0;
  for (const auto& [iRun, jRun] : mapRuns) {
    if (!jRun.isMember("stop_time") && ++cRunning <= MAX_RUNS) {
      strText += fmt::format("  {}:    eorva runs output -f {}    eorva stop {}\n", Host::textOf(jRun, "task_name"),
                             iRun, iRun);
    }
  }
  return strText + (cRunning > 0 && cRunning <= MAX_RUNS ? "" : "  eorva runs list --running\n");
}

}  // namespace

Farewell::Farewell(pid_t pidWatch) : m_pidWatch(pidWatch) {
  setRuns({});
  for (const int iSignal : SIGNALS) {
    if (std::signal(iSignal, SIG_IGN) != SIG_IGN) {
      std::signal(iSignal, sayThatItGoesOn);
      m_vecChanged.push_back(iSignal);
    }
  }
}

Farewell::~Farewell() {
  for (const int iSignal : m_vecChanged) {
    std::signal(iSignal, SIG_DFL);
  }
}

void Farewell::setRuns(const std::map<Json::Int64, Json::Value>& mapRuns) {
  setWords(textOf(m_pidWatch, mapRuns));
}
