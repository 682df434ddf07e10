#include "execute.h"

#include <algorithm>
#include <csignal>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/terminal/farewell.h"
#include "cli/terminal/present.h"
#include "cli/terminal/progress_view.h"
#include "cli/terminal/say.h"
#include "common/answers/reason_text.h"
#include "common/answers/run_answers.h"
#include "common/executions/execution_plan.h"
#include "common/executions/progress.h"
#include "common/executions/start_execution.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/shell_word.h"
#include "common/text/terminal_text.h"

using Host::intOf;
using Host::textOf;

namespace {

/// Shows the progress of an execution. After a failure, it reports the failure once and shows nothing more.
class Display {
public:
  Display(Host::Progress& progress, ProgressView* pView) : m_progress(progress), m_pView(pView) {}

  void update(Host::Execution& execution) {
    if (m_blFailed) {
      return;
    }
    try {
      std::vector<Json::Value> vecNews;
      if (const unsigned cStored = execution.stored(); cStored != m_cStored) {
        m_cStored = cStored;
        vecNews = m_progress.poll(session(), [&] { return execution.children(); });
      }
      if (m_pView != nullptr) {
        m_pView->update(m_progress, vecNews);
        flushOutput();
      }
    } catch (const std::exception& error) {
      m_blFailed = true;
      printNote(
          fmt::format("the display failed: {}; the execution continues in process {}; to see its runs: eorva runs list",
                      error.what(), execution.pid()));
    }
  }

  void end() {
    if (m_pView != nullptr && !m_blFailed) {
      m_pView->end(m_progress);
    }
  }

  bool hasFailed() const { return m_blFailed; }

private:
  /// Opened when the execution has been forked: a connection does not survive a fork.
  Host::Session& session() {
    if (!m_store) {
      m_store.emplace();
    }
    return *m_store;
  }

  Host::Progress& m_progress;
  ProgressView* m_pView;
  std::optional<Host::OpenStore> m_store;
  unsigned m_cStored = 0;
  bool m_blFailed = false;
};

using LeftOutTasks = std::vector<Host::LeftOut>;

using Missing = std::vector<std::pair<std::string, std::string>>;

/// The tasks that were not started, and why in few words, as far as that is known.
Missing missingTasks(const Host::Progress& progress, const LeftOutTasks& vecLeftOut) {
  Missing vecMissing;
  for (const Host::LeftOut& task : vecLeftOut) {
    vecMissing.emplace_back(task.strTask,
                            task.vecReasons.empty() ? std::string() : Host::reasonWord(task.vecReasons.front()));
  }
  for (const std::string& strTask : progress.notStarted()) {
    if (std::none_of(vecMissing.begin(), vecMissing.end(), [&](const auto& task) { return task.first == strTask; })) {
      vecMissing.emplace_back(strTask, "");
    }
  }
  return vecMissing;
}

std::string missingText(const Missing& vecMissing) {
  constexpr std::size_t MAX_NAMES = 5;
  std::vector<std::string> vecTexts;
  for (const auto& [strTask, strWord] : vecMissing) {
    if (vecTexts.size() == MAX_NAMES) {
      vecTexts.push_back(fmt::format("{} more", vecMissing.size() - MAX_NAMES));
      break;
    }
    vecTexts.push_back(strWord.empty() ? strTask : fmt::format("{}: {}", strTask, strWord));
  }
  return vecMissing.empty() ? std::string()
                            : fmt::format(", {} not started ({})", vecMissing.size(), fmt::join(vecTexts, "; "));
}

/// The counts, and for each task that did not end well the command that tells why.
void printSummary(const Host::ExecutionRequest& request, const Host::Progress& progress,
                  const LeftOutTasks& vecLeftOut) {
  const std::vector<Json::Value> vecFailed = progress.failedRuns();
  const Missing vecMissing = missingTasks(progress, vecLeftOut);
  const std::size_t cRepeated = progress.repeatedRuns();
  say("{} {}: {}, {} ok, {} failed{}{}\n", request.kind(), request.strName, countText(progress.runs().size(), "run"),
      progress.runs().size() - cRepeated - vecFailed.size(), vecFailed.size(),
      cRepeated == 0 ? "" : fmt::format(", {} repeated", cRepeated), missingText(vecMissing));
  for (const Json::Value& jRun : vecFailed) {
    say("  {}: {}    eorva runs output {}\n", textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText,
        intOf(jRun, "result_id"));
  }
  for (const Host::LeftOut& task : vecLeftOut) {
    printReasons(task.strTask, task.strTask, task.vecReasons);
  }
  for (const auto& [strTask, strWord] : vecMissing) {
    if (strWord.empty()) {
      say("  {}: not started    eorva explain {}\n", strTask, Host::shellWord(strTask));
    }
  }
}

/// Shows the messages of an execution, with its log if that is shown.
void showMessages(const std::string& strLines) {
  FILE* pFile = Context::isLogShown() ? stdout : stderr;
  std::fputs(Host::shown(strLines).c_str(), pFile);
  std::fflush(pFile);
}

/// Starts an execution, and shows its progress until it ends.
Host::ExecutionEnd show(const Host::PreparedExecution& prepared, Host::Progress& progress, ProgressView* pView,
                        Host::ServiceProcess* pService) {
  Host::Execution execution = prepared.start();
  Display display(progress, pView);
  std::optional<Farewell> farewell;
  if (pService == nullptr) {
    farewell.emplace(execution.pid());
  }
  const auto look = [&] {
    display.update(execution);
    if (farewell) {
      farewell->setRuns(progress.runs());
    }
  };
  const auto tell = [&](const std::string& strLines) {
    // A message follows what was recorded before it.
    look();
    showMessages(strLines);
  };
  const int iStatus = Host::followExecution(execution, pService, {look, tell});
  display.end();
  const Host::ExecutionEnd end = Host::endOf(iStatus);
  if (end == Host::ExecutionEnd::REFUSED) {
    Host::refuseSecondRun(Host::OpenStore(), prepared.request().strName);
    throw Host::Failure(
        fmt::format("the task \"{}\" was started by another execution before", prepared.request().strName));
  }
  if (display.hasFailed()) {
    throw Host::Failure("the execution has ended; for the result: eorva runs list");
  }
  return end;
}

void tellEnd(const Host::ExecutionRequest& request, Host::ExecutionEnd end) {
  if (end == Host::ExecutionEnd::ENDED) {
    printNote(
        fmt::format("the execution of the {} \"{}\" was ended, with all its runs", request.kind(), request.strName));
  } else if (end == Host::ExecutionEnd::BUDGET) {
    printNote(fmt::format("the {1} \"{2}\" took longer than {0}; its runs were ended",
                          Host::durationText(request.budget.count()), request.kind(), request.strName));
  }
}

void printResult(const Host::ExecutionRequest& request, const Host::Progress& progress, const LeftOutTasks& vecLeftOut,
                 bool blJson) {
  if (blJson) {
    printJson(Host::executionForPrograms(request, progress, vecLeftOut));
  } else {
    printSummary(request, progress, vecLeftOut);
  }
}

bool isDone(const Host::Progress& progress, const LeftOutTasks& vecLeftOut) {
  return progress.failedRuns().empty() && progress.notStarted().empty() &&
         std::none_of(vecLeftOut.begin(), vecLeftOut.end(), [](const Host::LeftOut& task) { return task.isFailure(); });
}

}  // namespace

void tellPrepared(const Host::PreparedExecution& prepared) {
  for (const Json::Value& jRun : prepared.interrupted()) {
    printNote(fmt::format("run {} of \"{}\", started {}, was interrupted; it is closed now", intOf(jRun, "result_id"),
                          textOf(jRun, "task_name"), timeText(jRun, "start_time")));
  }
  for (const std::string& strWarning : prepared.plan().vecWarnings) {
    printNote("warning: " + strWarning);
  }
  if (prepared.plan().vecTasks.empty()) {
    const std::string& strEvent = prepared.request().strName;
    printNote(fmt::format("the event \"{}\" starts no task now; to see why: eorva event plan {}", strEvent,
                          Host::shellWord(strEvent)));
  }
}

void printNothingRun(const Host::ExecutionRequest& request, bool blJson) {
  const Host::ExecutionPlan plan;
  printResult(request, Host::Progress(plan), {}, blJson);
}

int execute(const Context& context, const Host::ExecutionRequest& request, bool blJson,
            Host::ServiceProcess* pService) {
  // The execution must not end when the reader of the output ends.
  std::signal(SIGPIPE, [](int) {});
  const Host::PreparedExecution prepared(request);
  tellPrepared(prepared);
  const OwnerNames owners = ownerNames(prepared.tasks());
  Host::Progress progress(prepared.plan());
  if (!prepared.plan().vecTasks.empty()) {
    // The live table would overwrite log lines.
    const bool blLive = Context::isOnTerminal() && !Context::isLogShown() && !blJson;
    const auto pView = blLive ? makeLiveView(owners, context.isColored()) : makeLineView();
    tellEnd(request, show(prepared, progress, blJson ? nullptr : pView.get(), pService));
  }
  const LeftOutTasks vecLeftOut = progress.leftOut(Host::OpenStore());
  printResult(request, progress, vecLeftOut, blJson);
  return isDone(progress, vecLeftOut) ? EXIT_DONE : EXIT_TASK_FAILED;
}
