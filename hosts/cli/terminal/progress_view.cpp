#include "progress_view.h"

#include <cstdio>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "common/executions/progress.h"
#include "common/runs/outcome.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"
#include "live_table.h"
#include "quiet_terminal.h"
#include "say.h"

using Host::intOf;
using Host::textOf;

namespace {

/// The escape sequences for the colours of outcomeColor().
const char* outcomeEscape(Host::Outcome::Kind kind) {
  switch (kind) {
    case Host::Outcome::Kind::OK:
      return "\033[32m";
    case Host::Outcome::Kind::FAILED:
      return "\033[31m";
    case Host::Outcome::Kind::RUNNING:
      break;
  }
  return "\033[1;33m";
}

class LineView : public ProgressView {
public:
  void update(const Host::Progress&, const std::vector<Json::Value>& vecNews) override {
    for (const Json::Value& jRun : vecNews) {
      showStart(jRun);
      showEnd(jRun);
    }
    std::fflush(stdout);
  }

private:
  void showStart(const Json::Value& jRun) {
    if (m_setStarted.insert(intOf(jRun, "result_id")).second) {
      say("{}  {}: started as {} (run {})\n", timeText(jRun, "start_time"), textOf(jRun, "task_name"),
          Host::ownerText(jRun), intOf(jRun, "result_id"));
    }
  }

  static void showEnd(const Json::Value& jRun) {
    if (jRun.isMember("stop_time")) {
      say("{}  {}: {}, after {}\n", timeText(jRun, "stop_time"), textOf(jRun, "task_name"),
          Host::outcomeOf(jRun).strText, Host::elapsedText(Host::secondsOf(jRun)));
    }
  }

  std::set<Json::Int64> m_setStarted;
};

/// The table always fits on the screen, so that it can be redrawn.
class LiveView : public ProgressView {
public:
  LiveView(const OwnerNames& owners, bool blColor) : m_owners(owners), m_blColor(blColor) {}

  void update(const Host::Progress& progress, const std::vector<Json::Value>&) override {
    const winsize size = sizeOfTerminal();
    const bool blResized = m_cLines > 0 && (size.ws_col != m_size.ws_col || size.ws_row != m_size.ws_row);
    m_size = size;
    if (QuietTerminal::takeStop()) {
      m_cLines = 0;
    }
    // After a change of size, the position of the old lines is unknown.
    const std::string strBack = blResized ? "\033[H" : back();
    show(strBack, drawLiveTable(rowsOf(progress), size.ws_col, size.ws_row > 3 ? size.ws_row - 2U : 1U));
  }

  void end(const Host::Progress& progress) override { show(back(), drawLiveTable(rowsOf(progress), m_size.ws_col, 0)); }

private:
  static winsize sizeOfTerminal() {
    constexpr winsize USUAL{24, 80, 0, 0};
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0 ? size : USUAL;
  }

  /// Moves the cursor back to the start of the table.
  std::string back() const { return m_cLines > 0 ? fmt::format("\033[{}A\r", m_cLines) : ""; }

  void show(const std::string& strBack, const std::vector<std::string>& vecLines) {
    fmt::print("{}\033[J", strBack);
    for (const std::string& strLine : vecLines) {
      fmt::print("{}\n", strLine);
    }
    std::fflush(stdout);
    m_cLines = vecLines.size();
  }

  std::vector<LiveRow> rowsOf(const Host::Progress& progress) const {
    std::vector<LiveRow> vecRows;
    for (const auto& [iRun, jRun] : progress.runs()) {
      vecRows.push_back(rowOf(jRun));
    }
    for (const std::string& strTask : progress.notStarted()) {
      vecRows.push_back({LiveRow::Rank::WAITING, strTask, ownerOf(strTask), "-", "-", "waiting"});
    }
    return vecRows;
  }

  LiveRow rowOf(const Json::Value& jRun) const {
    using Kind = Host::Outcome::Kind;
    const Host::Outcome outcome = Host::outcomeOf(jRun);
    const LiveRow::Rank rank = outcome.kind == Kind::RUNNING  ? LiveRow::Rank::RUNNING
                               : outcome.kind == Kind::FAILED ? LiveRow::Rank::FAILED
                                                              : LiveRow::Rank::DONE;
    return {rank,
            textOf(jRun, "task_name"),
            Host::ownerText(jRun),
            timeText(jRun, "start_time"),
            Host::elapsedText(Host::secondsOf(jRun)),
            outcome.strText,
            m_blColor ? outcomeEscape(outcome.kind) : nullptr};
  }

  std::string ownerOf(const std::string& strTask) const {
    const auto it = m_owners.find(strTask);
    return it != m_owners.end() ? it->second : "-";
  }

  const QuietTerminal m_quiet;
  const OwnerNames& m_owners;
  const bool m_blColor;
  winsize m_size = sizeOfTerminal();
  std::size_t m_cLines = 0;
};

}  // namespace

std::unique_ptr<ProgressView> makeLiveView(const OwnerNames& owners, bool blColor) {
  return std::make_unique<LiveView>(owners, blColor);
}

std::unique_ptr<ProgressView> makeLineView() {
  return std::make_unique<LineView>();
}
