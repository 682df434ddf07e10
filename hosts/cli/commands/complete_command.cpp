/// eorva complete, for the completion of command lines

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <pwd.h>
#include <set>
#include <unistd.h>

#include "cli/command_line.h"
#include "common/config/configuration.h"
#include "common/events/event_catalogue.h"
#include "common/events/own_events.h"
#include "common/server/shares.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/terminal_text.h"

namespace {

constexpr unsigned MAX_RUNS = 50;
constexpr uid_t FIRST_USER = 1000;
constexpr uid_t NOBODY = 65534;

struct CompleteOptions {
  const CLI::App* pApp = nullptr;
  std::vector<std::string> vecWords;
};

using Words = std::vector<std::string>;

/// Of thousands of names, only those that go on as typed are read.
Words taskWords(const std::string& strTyped) {
  const Host::OpenStore session;
  Words words;
  Host::forEachTask(session, {"task_name"}, Host::whereBegins("task_name", strTyped),
                    [&](const Json::Value& jTask) { words.push_back(Host::textOf(jTask, "task_name")); });
  return words;
}

Words eventWords(const std::string& strTyped) {
  std::set<std::string> setEvents;
  for (const Host::Event& event : Host::namedEvents()) {
    setEvents.insert(event.strName);
  }
  try {
    const Host::OpenStore session;
    Host::forEachTask(session, {"event"}, Host::whereBegins("event", strTyped),
                      [&](const Json::Value& jTask) { setEvents.insert(Host::textOf(jTask, "event")); });
  } catch (const Host::Failure&) {
    // The named events can be read without a store and by all users.
    return {setEvents.begin(), setEvents.end()};
  }
  return {setEvents.begin(), setEvents.end()};
}

Words ownEventWords() {
  Words words;
  for (const auto& [strEvent, settings] : Host::readOwnEvents()) {
    words.push_back(strEvent);
  }
  return words;
}

/// The newest first: they are needed most often.
Words numbersOf(const Json::Value& jRuns) {
  Words words;
  for (const Json::Value& jRun : jRuns) {
    words.push_back(std::to_string(Host::intOf(jRun, "result_id")));
  }
  std::reverse(words.begin(), words.end());
  return words;
}

Words allRunWords() {
  return numbersOf(Host::listRuns(Host::OpenStore(), "1", MAX_RUNS));
}

/// The open runs and their tasks: only these can be stopped.
Words openRunWords() {
  const Json::Value jRuns = Host::listRuns(Host::OpenStore(), "stop_time is null", MAX_RUNS);
  std::set<std::string> setTasks;
  for (const Json::Value& jRun : jRuns) {
    setTasks.insert(Host::textOf(jRun, "task_name"));
  }
  Words words = numbersOf(jRuns);
  words.insert(words.end(), setTasks.begin(), setTasks.end());
  return words;
}

/// With "=", since a value follows.
Words assignmentWords() {
  Words words = Host::configKeys();
  for (std::string& strWord : words) {
    strWord += '=';
  }
  return words;
}

/// Root and ordinary users, no system users.
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

Words ioClassWords() {
  return {"none", "idle", "best-effort", "realtime"};
}

/// The words for a kind of value, as help calls it.
Words wordsOf(const NextWord& next, const std::string& strTyped) {
  if (next.strType == "TASK") {
    return taskWords(strTyped);
  }
  if (next.strType == "TASK|RUN") {
    Words words = allRunWords();
    const Words tasks = taskWords(strTyped);
    words.insert(words.end(), tasks.begin(), tasks.end());
    return words;
  }
  if (next.strType == "EVENT") {
    return eventWords(strTyped);
  }
  constexpr std::pair<const char*, Words (*)()> TYPES[] = {
      {"RUN", &allRunWords},        {"RUN|TASK", &openRunWords},    {"SHARE[/PATH]", &Host::shareNames},
      {"SHARE", &Host::shareNames}, {"USER", &ownerWords},          {"OWN-EVENT", &ownEventWords},
      {"CLASS", &ioClassWords},     {"SETTING", &Host::configKeys}, {"SETTING=VALUE", &assignmentWords}};
  const auto* it =
      std::find_if(std::begin(TYPES), std::end(TYPES), [&](const auto& type) { return next.strType == type.first; });
  return it == std::end(TYPES) ? Words() : it->second();
}

/// After "help" come the words of commands.
Words commandWords(const CompleteOptions& options) {
  const auto itHelp = std::find(options.vecWords.begin(), options.vecWords.end(), "help");
  return itHelp == options.vecWords.end() ? Words()
                                          : nextWord(*options.pApp, {itHelp + 1, options.vecWords.end()}).vecWords;
}

/// All words that may come next; ":files" stands for the names of files.
Words lineWords(const CompleteOptions& options) {
  const NextWord next = nextWord(*options.pApp, options.vecWords);
  Words words = next.vecWords;
  const std::string strTyped = options.vecWords.empty() ? std::string() : options.vecWords.back();
  for (std::string& strWord : wordsOf(next, strTyped)) {
    words.push_back(std::move(strWord));
  }
  if (next.strType == "COMMAND") {
    for (std::string& strWord : commandWords(options)) {
      words.push_back(std::move(strWord));
    }
  }
  if (next.strType == "FILE" || next.strType == "FOLDER") {
    words.emplace_back(":files");
  }
  return words;
}

int runComplete(const Context&, const CompleteOptions& options) {
  try {
    for (const std::string& strWord : lineWords(options)) {
      // A word that a terminal would not show as it is cannot be typed either.
      if (Host::onOneLine(strWord) == strWord) {
        fmt::print("{}\n", strWord);
      }
    }
  } catch (const Host::Failure&) {
    // Without a readable store there is nothing to offer. A message would appear in the line that is being
    // typed.
    return EXIT_DONE;
  }
  return EXIT_DONE;
}

}  // namespace

void addCompleteCommand(CLI::App& app, Context& context) {
  CLI::App* pCommand = addCommand(app, "complete", "Print the words that can be typed next, one a line.",
                                  "  eorva complete line -- task show ''\n");
  auto pOptions = onCommand(pCommand, context, &runComplete, true);
  pOptions->pApp = &app;
  pCommand->group("");
  pCommand
      ->add_option_function<std::string>(
          "kind", [](const std::string&) {}, "the kind of completion: a command line")
      ->required()
      ->check(CLI::IsMember({"line"}))
      ->type_name("line");
  pCommand->add_option("words", pOptions->vecWords, "the words of the line, the last one being typed")
      ->type_name("WORD");
}
