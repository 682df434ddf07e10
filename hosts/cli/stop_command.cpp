/// eorva stop

#include <array>
#include <chrono>
#include <csignal>
#include <fmt/format.h>
#include <thread>

#include "common/failure.h"
#include "common/host_settings.h"
#include "common/json_read.h"
#include "common/reconcile.h"
#include "common/run_end.h"
#include "context.h"
#include "present.h"
#include "runs_commands.h"

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
  Json::Int64 iResult = 0;
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

void show(const Json::Value& jRun, const StopOptions& options, const OwnerNames& owners) {
  if (options.blJson) {
    printJson(runForPrograms(jRun, owners));
  } else {
    fmt::print("run {} of {}: {}\n", options.iResult, Host::textOf(jRun, "task_name"), Host::outcomeOf(jRun).strText);
  }
}

int runStop(const Context&, const StopOptions& options) {
  Host::Session session;
  Json::Value jRun = Host::requireRun(session, options.iResult);
  if (jRun.isMember("stop_time")) {
    printNote(fmt::format("run {} has ended already", options.iResult));
  } else {
    endRun(session, jRun, graceOf(options));
    jRun = waitUntilClosed(session, options.iResult);
  }
  show(jRun, options, ownerNames(Host::listTasks(session)));
  return EXIT_DONE;
}

}  // namespace

void addStopCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<StopOptions>();
  CLI::App* pCommand =
      addCommand(app, "stop", "End a run with everything that its script has started, and wait until it is closed.",
                 "  eorva stop 42                asks it to end; makes it end after 10 seconds\n"
                 "  eorva stop 42 --grace 0      makes it end at once\n");
  pCommand->add_option("run", pOptions->iResult, "its number")->required()->type_name("RUN")->check(wholeNumber(1));
  pCommand->add_option("--grace", pOptions->grace, "how long it may take to end when it is asked to")
      ->type_name("SECONDS")
      ->check(CLI::Range(Json::Int64{0}, Json::Int64{86400}));
  pCommand->add_flag("--json", pOptions->blJson, "as JSON: the record of the run");
  onCommand(pCommand, context, pOptions, &runStop);
}
