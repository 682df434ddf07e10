/// eorva runs output|script

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <limits>
#include <unistd.h>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/reconcile.h"
#include "common/terminal_text.h"
#include "present.h"
#include "runs_commands.h"

using Host::intOf;

namespace {

constexpr unsigned ALL_LINES = std::numeric_limits<unsigned>::max();
constexpr std::size_t CB_PIECE = 65536;
constexpr char OUTPUT_FILE[] = "output.log";
constexpr char SCRIPT_FILE[] = "script.log";

struct OutputOptions {
  Json::Int64 iResult = 0;
  unsigned cTail = ALL_LINES;
  bool blFollow = false;
  bool blRaw = false;
};

/// Hands bytes to standard output: as they are, or made harmless for a terminal.
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

[[noreturn]] void failRead() {
  throw Host::Failure(fmt::format("cannot read what the run left: {}", std::strerror(errno)));
}

/// Where the last lines of a file begin. Read from its end: a log can be larger than memory.
off_t startOfTail(const Host::UniqueFd& fd, unsigned cLines) {
  const off_t cbFile = lseek(fd.get(), 0, SEEK_END);
  if (cLines == ALL_LINES || cbFile <= 0) {
    return 0;
  }
  std::array<char, CB_PIECE> buffer{};
  unsigned cEnds = 0;
  for (off_t iEnd = cbFile; iEnd > 0;) {
    const off_t iStart = std::max<off_t>(0, iEnd - static_cast<off_t>(buffer.size()));
    const ssize_t cb = pread(fd.get(), buffer.data(), static_cast<std::size_t>(iEnd - iStart), iStart);
    if (cb < 0) {
      failRead();
    }
    for (ssize_t i = cb - 1; i >= 0; --i) {
      // The end of the last line begins no other one.
      const bool blEnd = buffer[static_cast<std::size_t>(i)] == '\n' && iStart + i + 1 < cbFile;
      if (blEnd && ++cEnds == cLines) {
        return iStart + i + 1;
      }
    }
    iEnd = iStart;
  }
  return cLines == 0 ? cbFile : 0;
}

/// Passes on what has come since the last time, piece by piece.
void passOn(const Host::UniqueFd& fd, off_t& iOffset, Sink& sink) {
  // A script can empty its own output, and then begins it anew.
  if (lseek(fd.get(), 0, SEEK_END) < iOffset) {
    iOffset = 0;
  }
  std::array<char, CB_PIECE> buffer{};
  ssize_t cbRead = 0;
  while ((cbRead = pread(fd.get(), buffer.data(), buffer.size(), iOffset)) > 0) {
    sink.put({buffer.data(), static_cast<std::size_t>(cbRead)});
    iOffset += cbRead;
  }
  if (cbRead < 0) {
    failRead();
  }
}

bool goesOn(Host::Session& session, Json::Int64 iResult) {
  const Json::Value jRun = Host::requireRun(session, iResult);
  return !jRun.isMember("stop_time") && Host::isRunAlive(static_cast<pid_t>(intOf(jRun, "pid")));
}

/// Shows what a run prints until it has ended.
void follow(Host::Session& session, const Json::Value& jRun, const OutputOptions& options, Sink& sink) {
  constexpr timespec PAUSE{0, 200'000'000};
  std::optional<Host::UniqueFd> file;
  std::string strLooked;
  off_t iOffset = 0;
  for (bool blGoesOn = true; blGoesOn; blGoesOn ? nanosleep(&PAUSE, nullptr) : 0) {
    // Asked first: what was printed by then is read after that.
    blGoesOn = goesOn(session, options.iResult);
    if (!file) {
      file = findRunFile(jRun, OUTPUT_FILE, strLooked);
      iOffset = file ? startOfTail(*file, options.cTail) : 0;
    }
    if (file) {
      passOn(*file, iOffset, sink);
    }
  }
  if (!file) {
    throw Host::Failure(fmt::format("nothing is kept of run {}: {}", options.iResult, strLooked));
  }
}

int runOutput(const Context&, const OutputOptions& options) {
  Host::Session session;
  const Json::Value jRun = Host::requireRun(session, options.iResult);
  Sink sink(options.blRaw);
  if (options.blFollow) {
    follow(session, jRun, options, sink);
  } else {
    const Host::UniqueFd file = requireRunFile(jRun, OUTPUT_FILE);
    off_t iOffset = startOfTail(file, options.cTail);
    passOn(file, iOffset, sink);
  }
  sink.end();
  return EXIT_DONE;
}

int runScript(const Context&, const OutputOptions& options) {
  Host::Session session;
  const Host::UniqueFd file = requireRunFile(Host::requireRun(session, options.iResult), SCRIPT_FILE);
  Sink sink(options.blRaw);
  off_t iOffset = 0;
  passOn(file, iOffset, sink);
  sink.end();
  return EXIT_DONE;
}

}  // namespace

void addRunsOutputCommands(CLI::App& runs, Context& context) {
  constexpr char RAW[] = "as it is, also to a terminal, which then obeys the escape sequences in it";
  auto pOutput = std::make_shared<OutputOptions>();
  CLI::App* pCommand = addCommand(runs, "output", "Show what a run printed.",
                                  "  eorva runs output 12 | less\n"
                                  "  eorva runs output 12 --tail 20 -f     the last lines, then what comes\n");
  addRunOption(pCommand, pOutput->iResult);
  pCommand->add_flag("-f,--follow", pOutput->blFollow, "show what comes, until the run has ended");
  pCommand->add_option("--tail", pOutput->cTail, "only the last lines of what is there")->type_name("N");
  pCommand->add_flag("--raw", pOutput->blRaw, RAW);
  onCommand(pCommand, context, pOutput, &runOutput);

  auto pScript = std::make_shared<OutputOptions>();
  pCommand = addCommand(runs, "script", "Show the script that a run ran.", "  eorva runs script 12\n");
  addRunOption(pCommand, pScript->iResult);
  pCommand->add_flag("--raw", pScript->blRaw, RAW);
  onCommand(pCommand, context, pScript, &runScript);
}
