#include "start_screen.h"

#include <ctime>
#include <fmt/format.h>
#include <string>
#include <unistd.h>

#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/runs/next_try.h"
#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/time_spec.h"
#include "context.h"

namespace {

constexpr char START[] =
    "eorva runs users' scripts when something happens on this server. Begin with:\n"
    "\n"
    "  eorva task add NAME --event EVENT --owner USER --script FILE\n"
    "                        add a task\n"
    "  eorva fire EVENT      run the tasks of an event now\n"
    "  eorva runs list       what ran, and how it ended\n"
    "  eorva explain TASK    why a task ran or did not run\n"
    "  eorva check           check the installation\n"
    "\n"
    "All commands: eorva --help\n"
    "\n";

std::string stateText() {
  if (geteuid() != 0) {
    return "root can use these commands";
  }
  if (access(Host::DATABASE_PATH, F_OK) != 0) {
    return "there is no store yet; create it with: eorva init --output-path SHARE";
  }
  const Host::OpenStore session;
  const std::time_t now = std::time(nullptr);
  const Host::RunCounts counts = Host::countRuns(session, Host::readTimeSpec("today", now).value_or(now));
  const std::size_t cTries = Host::nextTries().size();
  return fmt::format("today: {}, {} failed, {} running{}", countText(counts.cAll, "run"), counts.cFailed,
                     counts.cRunning, cTries == 0 ? "" : fmt::format(", {} to be tried again", cTries));
}

}  // namespace

int showStart() {
  fmt::print("{}", START);
  try {
    say("{}\n", stateText());
  } catch (const Host::Failure& failure) {
    say("the state is unknown: {}\n", failure.what());
  }
  return EXIT_DONE;
}
