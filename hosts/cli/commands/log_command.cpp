/// eorva log

#include <algorithm>
#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/follow.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/server/event_log.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"
#include "common/text/time_spec.h"

using Host::intOf;
using Host::textOf;

namespace {

constexpr std::size_t NEWEST = 50;

struct LogOptions {
  std::optional<std::size_t> cLines;
  std::string strSince;
  std::string strLanguage;
  bool blFollow = false;
  bool blJson = false;
};

std::string levelWord(Json::Int64 iLevel) {
  return iLevel == 1 ? "info" : (iLevel == 2 ? "warning" : "error");
}

std::string languageOf(const LogOptions& options) {
  if (options.strLanguage.empty()) {
    return Host::serverLanguage();
  }
  const std::vector<std::string> vecLanguages = Host::EventLogTexts().languages();
  if (std::find(vecLanguages.begin(), vecLanguages.end(), options.strLanguage) == vecLanguages.end()) {
    throw Host::UsageFailure(
        fmt::format("log: unknown language \"{}\"; known: {}", options.strLanguage, fmt::join(vecLanguages, ", ")));
  }
  return options.strLanguage;
}

Host::EventLogQuery queryOf(const LogOptions& options) {
  Host::EventLogQuery query;
  query.strLanguage = languageOf(options);
  if (!options.strSince.empty()) {
    query.since = Host::readTimeSpec(options.strSince, std::time(nullptr));
    if (!query.since) {
      throw Host::UsageFailure(
          fmt::format("log: --since \"{}\" is not a time; times are {}", options.strSince, Host::TIME_SPEC_FORMS));
    }
  }
  query.cLines = options.cLines.value_or(options.strSince.empty() ? NEWEST : 0);
  return query;
}

void printLine(const Json::Value& jEvent) {
  const std::string strBy = textOf(jEvent, "by");
  say("{}  {:<7}  {}{}\n", timeText(jEvent, "time"), levelWord(intOf(jEvent, "level")), textOf(jEvent, "text"),
      strBy.empty() ? "" : fmt::format(" (by {})", strBy));
}

void warnAboutUnreadable(Host::EventLog& log) {
  if (const std::size_t cLines = log.takeUnreadable(); cLines > 0) {
    printNote(fmt::format("warning: {} of the event log cannot be read", countText(cLines, "line")));
  }
}

/// Shows new events until this program ends. JSON has a line for each event, since an array would have no end.
[[noreturn]] void follow(Host::EventLog& log, bool blJson) {
  for (std::vector<Json::Value> vecEvents = log.read();; vecEvents = log.readNew()) {
    for (const Json::Value& jEvent : vecEvents) {
      blJson ? printJsonLine(jEvent) : printLine(jEvent);
    }
    warnAboutUnreadable(log);
    flushOutput();
    waitForMore();
  }
}

int runLog(const Context&, const LogOptions& options) {
  Host::EventLog log(queryOf(options));
  if (options.blFollow) {
    follow(log, options.blJson);
  }
  const std::vector<Json::Value> vecEvents = log.read();
  if (options.blJson) {
    printJson(Host::arrayOf(vecEvents));
  } else {
    std::for_each(vecEvents.begin(), vecEvents.end(), &printLine);
  }
  warnAboutUnreadable(log);
  return EXIT_DONE;
}

}  // namespace

void addLogCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "log", "Show the event log: changes of tasks, failed and stopped runs, and who did it.",
                 "  eorva log -n 20\n"
                 "  eorva log --since yesterday --language ger\n"
                 "  eorva log -f                          shows new events until Ctrl-C\n"
                 "\nTimes: " +
                     std::string(Host::TIME_SPEC_FORMS) + "\n");
  auto pOptions = onCommand(pCommand, context, &runLog);
  pCommand
      ->add_option("-n,--lines", pOptions->cLines,
                   fmt::format("show the newest N events; 0: all; default: {}, or all with --since", NEWEST))
      ->type_name("N")
      ->check(wholeNumber(0));
  pCommand->add_option("--since", pOptions->strSince, "only events of this time or later")->type_name("TIME");
  pCommand
      ->add_option("--language", pOptions->strLanguage, "language of the texts; default: the language of the server")
      ->type_name("LANGUAGE");
  pCommand->add_flag("-f,--follow", pOptions->blFollow, "then show new events");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON array; with -f, a JSON object a line");
}
