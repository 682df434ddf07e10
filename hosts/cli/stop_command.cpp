/// eorva stop

#include <array>
#include <chrono>
#include <csignal>
#include <fmt/format.h>
#include <limits>
#include <thread>

#include "common/failure.h"
#include "common/host_settings.h"
#include "common/json_read.h"
#include "common/reconcile.h"
#include "common/run_end.h"
#include "context.h"
#include "present.h"
#include "usage.h"

namespace {

using namespace std::chrono_literals;

constexpr auto PAUSE = 50ms;

/// What was killed is gone at once, unless it cannot be.
constexpr auto KILL_LIMIT = 30s;

/// A script begins within a moment, unless its folder or the list of users does not answer.
constexpr auto BEGIN_LIMIT = 60s;

/// Its execution closes a run within a second or two, unless the store is busy.
constexpr auto CLOSE_LIMIT = 60s;

struct StopOptions {
  std::vector<Json::Int64> vecResults;
  std::optional<Json::Int64> grace;
  bool blJson = false;
};

std::chrono::seconds graceOf(const StopOptions& options) {
  if (options.grace) {
    return std::chrono::seconds(*options.grace);
  }
  std::vector<std::string> vecProblems;
  return std::chrono::seconds(Host::readHostSettings(vecProblems).cStopGrace);
}

/// The process of the run is held meanwhile: whoever wants to end this command has to wait.
class Patience {
public:
  Patience() {
    sigset_t set;
    sigemptyset(&set);
    for (const int iSignal : std::array{SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
      sigaddset(&set, iSignal);
    }
    sigprocmask(SIG_BLOCK, &set, &m_before);
  }
  ~Patience() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }
  Patience(const Patience&) = delete;
  Patience& operator=(const Patience&) = delete;

private:
  sigset_t m_before{};
};

/// \return false when there was nothing to be ended yet, or any more.
bool endProcesses(Host::Session& session, Json::Int64 iResult, Host::Process process, std::chrono::seconds grace) {
  const Patience patience;
  Host::RunEnd end(std::move(process), grace);
  if (!end.hasWork() || !Host::markEnded(session, iResult, Host::ENDED_STOPPED)) {
    return false;
  }
  end.ask();
  const auto deadline = std::chrono::steady_clock::now() + 2 * grace + KILL_LIMIT;
  while (!end.step()) {
    if (std::chrono::steady_clock::now() > deadline) {
      throw Host::Failure(
          fmt::format("run {} cannot be ended: something that it started does not even end when it is "
                      "killed, as when it waits for a disk that does not answer",
                      iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
  return true;
}

/// Ends the run as soon as there is something to be ended: its script may not have begun yet.
void endRun(Host::Session& session, const Json::Value& jRun, std::chrono::seconds grace) {
  const Json::Int64 iResult = Host::intOf(jRun, "result_id");
  const auto deadline = std::chrono::steady_clock::now() + BEGIN_LIMIT;
  for (;;) {
    std::optional<Host::Process> process = Host::processOf(session, jRun);
    if (!process || endProcesses(session, iResult, std::move(*process), grace)) {
      return;
    }
    if (std::chrono::steady_clock::now() > deadline) {
      throw Host::Failure(fmt::format("run {} was not ended: its script has not begun yet", iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
}

/// Waits until the run is closed: by its execution, or here when that is gone.
Json::Value waitUntilClosed(Host::Session& session, Json::Int64 iResult) {
  const auto deadline = std::chrono::steady_clock::now() + CLOSE_LIMIT;
  for (;;) {
    Json::Value jRun = Host::requireRun(session, iResult);
    if (jRun.isMember("stop_time")) {
      return jRun;
    }
    if (!Host::isRunAlive(jRun)) {
      Host::reconcile(session);
    } else if (std::chrono::steady_clock::now() > deadline) {
      throw Host::Failure(fmt::format("run {} was ended, but its execution does not close it", iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
}

/// Waits until a run is over. \return its record then.
Json::Value stopRun(Host::Session& session, Json::Int64 iResult, std::chrono::seconds grace) {
  Json::Value jRun = Host::requireRun(session, iResult);
  if (jRun.isMember("stop_time")) {
    printNote(fmt::format("run {} has ended already", iResult));
    return jRun;
  }
  endRun(session, jRun, grace);
  return waitUntilClosed(session, iResult);
}

/// One run is shown as a record, several as an array.
void printStopped(const std::vector<Json::Value>& vecRuns, const OwnerNames& owners) {
  Json::Value jOut(Json::arrayValue);
  for (const Json::Value& jRun : vecRuns) {
    jOut.append(runForPrograms(jRun, owners));
  }
  printJson(jOut.size() == 1 ? jOut[0] : jOut);
}

int runStop(const Context&, const StopOptions& options) {
  Host::Session session;
  for (const Json::Int64 iResult : options.vecResults) {
    Host::requireRun(session, iResult);
  }
  std::vector<Json::Value> vecRuns;
  for (const Json::Int64 iResult : options.vecResults) {
    const Json::Value& jRun = vecRuns.emplace_back(stopRun(session, iResult, graceOf(options)));
    if (!options.blJson) {
      fmt::print("run {} of {}: {}\n", iResult, Host::textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText);
    }
  }
  if (options.blJson) {
    printStopped(vecRuns, ownerNames(Host::listTasks(session)));
  }
  return EXIT_DONE;
}

}  // namespace

void addStopCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<StopOptions>();
  CLI::App* pCommand =
      addCommand(app, "stop", "End a run with everything that its script has started, and wait until it is closed.",
                 "  eorva stop 42                asks it to end; makes it end after 10 seconds\n"
                 "  eorva stop 42 43 --grace 0   makes two of them end at once\n");
  pCommand->add_option("run", pOptions->vecResults, "its number; several may be given")
      ->required()
      ->type_name("RUN")
      ->check(wholeNumber(std::numeric_limits<long long>::min()));
  pCommand->add_option("--grace", pOptions->grace, "how long it may take to end when it is asked to")
      ->type_name("SECONDS")
      ->check(wholeNumber(0, 86400, " of seconds"));
  pCommand->add_flag("--json", pOptions->blJson,
                     "as JSON: the record of the run; an array of them when several are given");
  onCommand(pCommand, context, pOptions, &runStop);
}
