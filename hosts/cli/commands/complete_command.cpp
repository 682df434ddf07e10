/// eorva complete, for the completion of command lines

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <pwd.h>
#include <set>
#include <unistd.h>

#include "orva_platform.h"

#include "cli/command_line.h"
#include "common/config/configuration.h"
#include "common/events/event_catalogue.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace {

constexpr unsigned MAX_RUNS = 50;
constexpr uid_t FIRST_USER = 1000;
constexpr uid_t NOBODY = 65534;

struct CompleteOptions {
  const CLI::App* pApp = nullptr;
  std::string strKind;
  std::vector<std::string> vecWords;
};

using Words = std::vector<std::string>;

Words taskWords() {
  Host::Session session;
  Words words;
  for (const Json::Value& jTask : Host::listTasks(session)) {
    words.push_back(Host::textOf(jTask, "task_name"));
  }
  return words;
}

Words eventWords() {
  std::set<std::string> setEvents;
  for (const Host::Event& event : Host::eventCatalogue()) {
    setEvents.insert(event.strName);
  }
  try {
    Host::Session session;
    for (const Json::Value& jTask : Host::listTasks(session)) {
      setEvents.insert(Host::textOf(jTask, "event"));
    }
  } catch (const Host::Failure&) {
    // The catalogue can be read before there is a store, and by everybody.
    return {setEvents.begin(), setEvents.end()};
  }
  return {setEvents.begin(), setEvents.end()};
}

/// The newest ones first, for these are meant most often.
Words runWords(const char* szWhere) {
  Host::Session session;
  Words words;
  for (const Json::Value& jRun : Host::listRuns(session, szWhere, MAX_RUNS)) {
    words.push_back(std::to_string(Host::intOf(jRun, "result_id")));
  }
  std::reverse(words.begin(), words.end());
  return words;
}

Words allRunWords() {
  return runWords("1");
}

Words openRunWords() {
  return runWords("stop_time is null");
}

/// A value follows at once.
Words assignmentWords() {
  Words words = Host::configKeys();
  for (std::string& strWord : words) {
    strWord += '=';
  }
  return words;
}

Words shareWords() {
  Words words;
  PKLIBCSZLIST pShares = KLIBCSzListAlloc(0);
  PKLIBCSZLIST pFaults = KLIBCSzListAlloc(0);
  const int cShares = pShares != nullptr && pFaults != nullptr ? ORVAShareList(&pShares, &pFaults) : 0;
  for (int i = 0; i < cShares; ++i) {
    words.emplace_back(KLIBCSzListGet(pShares, i));
  }
  KLIBCSzListFree(pShares);
  KLIBCSzListFree(pFaults);
  return words;
}

/// Root and people; not the users that belong to programs.
Words ownerWords() {
  Words words;
  setpwent();
  while (const passwd* pUser = getpwent()) {
    if (pUser->pw_uid == 0 || (pUser->pw_uid >= FIRST_USER && pUser->pw_uid != NOBODY)) {
      words.emplace_back(pUser->pw_name);
    }
  }
  endpwent();
  return words;
}

constexpr std::pair<const char*, Words (*)()> KINDS[] = {
    {"tasks", &taskWords},        {"events", &eventWords},         {"runs", &allRunWords},
    {"open-runs", &openRunWords}, {"settings", &Host::configKeys}, {"assignments", &assignmentWords},
    {"shares", &shareWords},      {"owners", &ownerWords}};

/// What help shows for a kind of value.
std::string kindOf(const NextWord& next) {
  // Only what runs can be stopped.
  if (next.strType == "RUN" && next.strCommand == "stop") {
    return "open-runs";
  }
  constexpr std::pair<const char*, const char*> TYPES[] = {
      {"TASK", "tasks"},   {"EVENT", "events"}, {"RUN", "runs"},         {"SHARE[/PATH]", "shares"},
      {"SHARE", "shares"}, {"USER", "owners"},  {"SETTING", "settings"}, {"SETTING=VALUE", "assignments"}};
  const auto* it =
      std::find_if(std::begin(TYPES), std::end(TYPES), [&](const auto& type) { return next.strType == type.first; });
  return it == std::end(TYPES) ? "" : it->second;
}

Words wordsOf(const std::string& strKind) {
  const auto* it =
      std::find_if(std::begin(KINDS), std::end(KINDS), [&](const auto& kind) { return strKind == kind.first; });
  return it == std::end(KINDS) ? Words() : it->second();
}

/// Behind "help" stands what could stand without it.
Words commandWords(const CompleteOptions& options) {
  const auto itHelp = std::find(options.vecWords.begin(), options.vecWords.end(), "help");
  return itHelp == options.vecWords.end() ? Words()
                                          : nextWord(*options.pApp, {itHelp + 1, options.vecWords.end()}).vecWords;
}

/// Everything that may stand at the end of a command line; ":files" stands for names of files.
Words lineWords(const CompleteOptions& options) {
  const NextWord next = nextWord(*options.pApp, options.vecWords);
  Words words = next.vecWords;
  for (std::string& strWord : wordsOf(kindOf(next))) {
    words.push_back(std::move(strWord));
  }
  if (next.strType == "COMMAND") {
    for (std::string& strWord : commandWords(options)) {
      words.push_back(std::move(strWord));
    }
  }
  if (next.strType == "FILE") {
    words.emplace_back(":files");
  }
  return words;
}

int runComplete(const Context&, const CompleteOptions& options) {
  try {
    for (const std::string& strWord : options.strKind == "line" ? lineWords(options) : wordsOf(options.strKind)) {
      fmt::print("{}\n", strWord);
    }
  } catch (const Host::Failure&) {
    // Without a store, or without the rights to read it, there is nothing to offer, and a message would end up in
    // the line that is being typed.
    return EXIT_DONE;
  }
  return EXIT_DONE;
}

}  // namespace

void addCompleteCommand(CLI::App& app, Context& context) {
  auto pOptions = std::make_shared<CompleteOptions>();
  pOptions->pApp = &app;
  CLI::App* pCommand = addCommand(app, "complete", "Print the words that can be typed, one a line.",
                                  "  eorva complete tasks\n"
                                  "  eorva complete line -- task show ''\n");
  pCommand->group("");
  pCommand->add_option("kind", pOptions->strKind, "what they stand for; line: the next word of a command line")
      ->required()
      ->check(CLI::IsMember(
          {"tasks", "events", "runs", "open-runs", "settings", "assignments", "shares", "owners", "line"}))
      ->type_name("KIND");
  pCommand->add_option("words", pOptions->vecWords, "the words of the line, the last one being typed")
      ->type_name("WORD");
  pCommand->callback([&context, pOptions] {
    context.blAnyUser = true;
    context.fnRun = [&context, pOptions] { return runComplete(context, *pOptions); };
  });
}
