/// eorva runs output|script

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/terminal/follow.h"
#include "cli/terminal/present.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/coordination/execution_file.h"
#include "common/output/run_files.h"
#include "common/runs/outcome.h"
#include "common/runs/run_identity.h"
#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/file_alarm.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"
#include "runs_commands.h"

namespace {

struct OutputOptions {
  std::string strRun;
  unsigned cTail = Host::FileFollower::ALL_LINES;
  bool blFollow = false;
  bool blRaw = false;
  bool blJson = false;
};

/// Writes bytes to standard output; on a terminal without control characters.
class Sink {
public:
  explicit Sink(bool blRaw) : m_blRaw(blRaw || isatty(STDOUT_FILENO) != 1) {}

  void put(std::string_view strBytes) { m_blRaw ? write(strBytes) : write(m_text.take(strBytes)); }
  void end() { write(m_text.finish()); }

private:
  static void write(std::string_view strBytes) {
    while (!strBytes.empty()) {
      const ssize_t cb = ::write(STDOUT_FILENO, strBytes.data(), strBytes.size());
      if (cb < 0) {
        throw Host::Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
      }
      strBytes.remove_prefix(static_cast<std::size_t>(cb));
    }
  }

  bool m_blRaw;
  Host::TerminalText m_text;
};

void passOn(Host::FileFollower& file, Sink& sink, bool blRuns) {
  using Holes = Host::FileFollower::Holes;
  const auto take = [&](std::string_view strPiece) {
    sink.put(strPiece);
    return strPiece.size();
  };
  // While the run goes on, a hole is output beyond the limit, which will be cut.
  file.takeNew(take, blRuns ? Holes::END : Holes::CONTENT);
}

/// Prints the last lines of a file of a run.
void passOnFile(const Json::Value& jRun, const char* szFile, unsigned cTail, Sink& sink) {
  Host::FileFollower file(Host::requireRunFile(jRun, szFile), szFile, cTail);
  passOn(file, sink, !jRun.isMember("stop_time"));
}

/// Shows the rest of the output of a run that has ended. If it was cut behind what was shown, that is the last line.
void passOnRest(Host::FileFollower& file, const Json::Value& jRun, Sink& sink) {
  if (file.isShorter() && Host::memberOf(Host::memberOf(jRun, "extra"), Host::OUTPUT_CUT).isInt64()) {
    passOnFile(jRun, Host::OUTPUT_FILE, 1, sink);
  } else {
    passOn(file, sink, false);
  }
}

bool goesOn(Host::Session& session, Json::Int64 iRun) {
  const Json::Value jRun = Host::requireRun(session, iRun);
  return !jRun.isMember("stop_time") && Host::isRunAlive(jRun);
}

/// Tells when a run has new output, or ends.
class RunAlarm {
public:
  /// \param pOutput  null while there is no file: then nothing can tell.
  RunAlarm(const Json::Value& jRun, const Host::FileFollower* pOutput) {
    const auto execution = Host::executionOf(Host::pidOf(jRun), Host::intOf(jRun, "result_id"));
    if (pOutput != nullptr && execution) {
      m_vecAlarms.emplace_back(pOutput->descriptorPath());
      m_vecAlarms.emplace_back(execution->strPath);
    }
  }

  bool isSet() const {
    return !m_vecAlarms.empty() && std::all_of(m_vecAlarms.begin(), m_vecAlarms.end(),
                                               [](const Host::FileAlarm& alarm) { return alarm.isOpen(); });
  }

  void wait() const {
    waitForMore(isSet() ? std::vector<int>{m_vecAlarms.front().fd(), m_vecAlarms.back().fd()} : std::vector<int>());
    for (const Host::FileAlarm& alarm : m_vecAlarms) {
      alarm.reset();
    }
  }

private:
  std::vector<Host::FileAlarm> m_vecAlarms;  ///< of the output, and of the execution
};

/// Shows the output of a run until it ends.
void follow(Host::Session& session, const Json::Value& jRun, const OutputOptions& options, Sink& sink) {
  const Json::Int64 iRun = Host::intOf(jRun, "result_id");
  std::optional<Host::FileFollower> file;
  std::string strLooked;
  std::optional<RunAlarm> alarm;
  for (bool blGoesOn = true; blGoesOn;) {
    // First the alarm, then the end, then the file, so that nothing is missed.
    if (!alarm || !alarm->isSet()) {
      alarm.emplace(jRun, file ? &*file : nullptr);
    }
    blGoesOn = goesOn(session, iRun);
    if (std::optional<Host::UniqueFd> fd =
            file ? std::nullopt : Host::findRunFile(jRun, Host::OUTPUT_FILE, strLooked)) {
      file.emplace(std::move(*fd), Host::OUTPUT_FILE, options.cTail);
    }
    if (file && blGoesOn) {
      passOn(*file, sink, true);
    } else if (file) {
      passOnRest(*file, Host::requireRun(session, iRun), sink);
    }
    if (blGoesOn) {
      alarm->wait();
    }
  }
  if (!file) {
    throw Host::Failure(fmt::format("run {} has no output: {}", iRun, strLooked));
  }
}

int runOutput(const Context&, const OutputOptions& options) {
  const Host::OpenStore session;
  const Json::Value jRun = Host::namedRun(session, options.strRun);
  if (options.blJson) {
    printJson(Host::runFileForPrograms(jRun, Host::OUTPUT_FILE, options.cTail));
    return EXIT_DONE;
  }
  Sink sink(options.blRaw);
  if (options.blFollow) {
    follow(session, jRun, options, sink);
  } else {
    passOnFile(jRun, Host::OUTPUT_FILE, options.cTail, sink);
  }
  sink.end();
  return EXIT_DONE;
}

int runScript(const Context&, const OutputOptions& options) {
  const Host::OpenStore session;
  const Json::Value jRun = Host::namedRun(session, options.strRun);
  if (options.blJson) {
    printJson(Host::runFileForPrograms(jRun, Host::SCRIPT_FILE, Host::FileFollower::ALL_LINES));
    return EXIT_DONE;
  }
  Sink sink(options.blRaw);
  sink.put(Host::textOfRunFile(jRun, Host::SCRIPT_FILE));
  sink.end();
  return EXIT_DONE;
}

}  // namespace

void addRunsOutputCommands(CLI::App& runs, Context& context) {
  constexpr char RAW[] = "do not replace control characters on a terminal";
  CLI::App* pCommand = addCommand(runs, "output", "Show the output of a run.",
                                  "  eorva runs output 12 | less\n"
                                  "  eorva runs output disk-usage          of its newest run\n"
                                  "  eorva runs output 12 --tail 20 -f     the last lines, then new output\n");
  auto pOutput = onCommand(pCommand, context, &runOutput);
  addNamedRun(pCommand, pOutput->strRun);
  CLI::Option* pFollow = pCommand->add_flag("-f,--follow", pOutput->blFollow, "show new output until the run ends");
  pCommand->add_option("--tail", pOutput->cTail, "show only the last N lines")
      ->type_name("N")
      ->check(wholeNumber(0, std::numeric_limits<unsigned>::max() - 1));
  pCommand->add_flag("--raw", pOutput->blRaw, RAW);
  pCommand->add_flag("--json", pOutput->blJson, "print a JSON object with \"text\", the last MiB at most")
      ->excludes(pFollow);

  pCommand = addCommand(runs, "script", "Show the script that a run ran.", "  eorva runs script 12\n");
  auto pScript = onCommand(pCommand, context, &runScript);
  addNamedRun(pCommand, pScript->strRun);
  pCommand->add_flag("--raw", pScript->blRaw, RAW);
  pCommand->add_flag("--json", pScript->blJson, "print a JSON object with \"text\"");
}
