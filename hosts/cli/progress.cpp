#include "progress.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "common/json_read.h"
#include "common/outcome.h"

using Host::intOf;
using Host::textOf;

Progress::Progress(const Host::ExecutionPlan& plan) : m_plan(plan) {}

std::vector<Json::Value> Progress::poll(Host::Session& session, const std::set<pid_t>& setChildren) {
  std::vector<Json::Value> vecNews;
  const std::string strWhere = fmt::format("result_id > {}", m_plan.iLastResult);
  for (const Json::Value& jRun : Host::listRuns(session, strWhere)) {
    if (setChildren.count(static_cast<pid_t>(intOf(jRun, "pid"))) == 0) {
      continue;
    }
    Json::Value& jKnown = m_mapRuns[intOf(jRun, "result_id")];
    if (jKnown != jRun) {
      jKnown = jRun;
      vecNews.push_back(jRun);
    }
  }
  return vecNews;
}

std::vector<std::string> Progress::notStarted() const {
  std::set<std::string> setStarted;
  for (const auto& [iResult, jRun] : m_mapRuns) {
    setStarted.insert(textOf(jRun, "task_name"));
  }
  std::vector<std::string> vecNames;
  for (const Host::GraphTask& task : m_plan.vecTasks) {
    if (setStarted.count(task.strName) == 0) {
      vecNames.push_back(task.strName);
    }
  }
  return vecNames;
}

namespace {

class LineView : public ProgressView {
public:
  explicit LineView(const OwnerNames& owners) : m_owners(owners) {}

  void update(const Progress&, const std::vector<Json::Value>& vecNews) override {
    for (const Json::Value& jRun : vecNews) {
      showStart(jRun);
      showEnd(jRun);
    }
    std::fflush(stdout);
  }

private:
  void showStart(const Json::Value& jRun) {
    if (m_setStarted.insert(intOf(jRun, "result_id")).second) {
      const std::string strTask = textOf(jRun, "task_name");
      const auto itOwner = m_owners.find(strTask);
      fmt::print("{}  {}: started as {} (run {})\n", timeText(jRun, "start_time"), strTask,
                 itOwner != m_owners.end() ? itOwner->second : "-", intOf(jRun, "result_id"));
    }
  }

  static void showEnd(const Json::Value& jRun) {
    if (jRun.isMember("stop_time")) {
      fmt::print("{}  {}: {}, after {}\n", timeText(jRun, "stop_time"), textOf(jRun, "task_name"),
                 Host::outcomeOf(jRun).strText, durationText(intOf(jRun, "stop_time") - intOf(jRun, "start_time")));
    }
  }

  const OwnerNames& m_owners;
  std::set<Json::Int64> m_setStarted;
};

class LiveView : public ProgressView {
public:
  LiveView(const OwnerNames& owners, bool blColor) : m_owners(owners), m_blColor(blColor) {}

  void update(const Progress& progress, const std::vector<Json::Value>&) override {
    winsize size{};
    const bool blKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 1;
    std::string strText = draw(progress, blKnown ? size.ws_col : DEFAULT_COLUMNS);
    // Only what fits can be drawn over again; the rest is in the run table.
    strText = firstLines(strText, (blKnown ? size.ws_row : DEFAULT_ROWS) - 1U);
    // Up to where the last one began, and everything below cleared.
    fmt::print("{}\033[J{}", m_cLines > 0 ? fmt::format("\033[{}A\r", m_cLines) : "", strText);
    std::fflush(stdout);
    m_cLines = std::count(strText.begin(), strText.end(), '\n');
  }

private:
  static constexpr unsigned DEFAULT_COLUMNS = 80;
  static constexpr unsigned DEFAULT_ROWS = 24;

  static std::string firstLines(const std::string& strText, unsigned cLines) {
    std::size_t iEnd = 0;
    for (unsigned i = 0; i < cLines && iEnd < strText.size(); ++i) {
      iEnd = std::min(strText.find('\n', iEnd), strText.size() - 1) + 1;
    }
    return strText.substr(0, iEnd);
  }

  std::string draw(const Progress& progress, unsigned cColumns) const {
    Table table({{"TASK"}, {"OWNER"}, {"SINCE"}, {"TIME", true}, {"STATE", false, false, true}}, m_blColor);
    for (const auto& [iResult, jRun] : progress.runs()) {
      const Host::Outcome outcome = Host::outcomeOf(jRun);
      const Json::Int64 iUntil = intOf(jRun, "stop_time", static_cast<Json::Int64>(std::time(nullptr)));
      table.addRow({{textOf(jRun, "task_name")},
                    {ownerOf(textOf(jRun, "task_name"))},
                    {timeText(jRun, "start_time")},
                    {durationText(iUntil - intOf(jRun, "start_time"))},
                    {outcome.strText, outcomeColor(outcome.kind)}});
    }
    for (const std::string& strTask : progress.notStarted()) {
      table.addRow({{strTask}, {ownerOf(strTask)}, {"-"}, {"-"}, {"waiting"}});
    }
    return table.render(cColumns) + "\n";
  }

  std::string ownerOf(const std::string& strTask) const {
    const auto it = m_owners.find(strTask);
    return it != m_owners.end() ? it->second : "-";
  }

  const OwnerNames& m_owners;
  const bool m_blColor;
  std::ptrdiff_t m_cLines = 0;
};

}  // namespace

std::unique_ptr<ProgressView> makeLiveView(const OwnerNames& owners, bool blColor) {
  return std::make_unique<LiveView>(owners, blColor);
}

std::unique_ptr<ProgressView> makeLineView(const OwnerNames& owners) {
  return std::make_unique<LineView>(owners);
}
