/// eorva task add

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <json/reader.h>
#include <memory>
#include <pwd.h>
#include <sstream>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "common/depend_text.h"
#include "common/failure.h"
#include "common/json_read.h"
#include "common/session.h"
#include "common/task_rules.h"
#include "context.h"
#include "present.h"

namespace {

constexpr std::streamsize CB_MAX_INPUT = 1024 * 1024;

struct AddOptions {
  std::string strName;
  std::string strEvent;
  std::string strOwner;
  std::string strScript;
  std::string strRecord;
  std::vector<std::string> vecAfter;
  std::string strMail;
  bool blDisabled = false;
  bool blParallel = false;
  bool blMailIfError = false;
};

std::string readInput(const std::string& strFile) {
  std::ifstream file;
  const bool blStdin = strFile == "-";
  if (!blStdin) {
    file.open(strFile, std::ios::binary);
  }
  std::istream& in = blStdin ? std::cin : file;
  std::string strText(static_cast<std::size_t>(CB_MAX_INPUT) + 1, '\0');
  in.read(strText.data(), static_cast<std::streamsize>(strText.size()));
  // A folder opens like a file and fails only when it is read.
  if ((!blStdin && !file.is_open()) || in.bad()) {
    throw Host::Failure(fmt::format("cannot read {}: {}", strFile, std::strerror(errno)));
  }
  if (in.gcount() > CB_MAX_INPUT) {
    throw Host::Failure(fmt::format("{} is too long: {} bytes are allowed", strFile, CB_MAX_INPUT));
  }
  strText.resize(static_cast<std::size_t>(in.gcount()));
  return strText;
}

Json::Value readRecord(const std::string& strFile) {
  const std::string strText = readInput(strFile);
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
  Json::Value jRecord;
  std::string strErrors;
  bool blRead = false;
  try {
    blRead = pReader->parse(strText.data(), strText.data() + strText.size(), &jRecord, &strErrors);
  } catch (const Json::Exception& error) {
    strErrors = error.what();
  }
  if (!blRead) {
    std::replace(strErrors.begin(), strErrors.end(), '\n', ' ');
    throw Host::Failure(fmt::format("{} is no JSON: {}", strFile, strErrors));
  }
  return jRecord;
}

/// The owner in the form of the user interface. A user who does not exist is passed on as typed, so that the
/// rules report him together with everything else.
Json::Value ownerOf(const std::string& strOwner) {
  Json::Value jOwner(Json::objectValue);
  uid_t uid = 0;
  const char* pEnd = strOwner.data() + strOwner.size();
  if (const passwd* pUser = getpwnam(strOwner.c_str())) {
    jOwner[std::to_string(pUser->pw_uid)] = pUser->pw_name;
  } else if (const auto [p, code] = std::from_chars(strOwner.data(), pEnd, uid); code == std::errc() && p == pEnd) {
    const passwd* pById = getpwuid(uid);
    jOwner[strOwner] = pById != nullptr ? pById->pw_name : "";
  } else {
    jOwner[strOwner] = "";
  }
  return jOwner;
}

Json::Value recordOf(const AddOptions& options) {
  if (!options.strRecord.empty()) {
    return readRecord(options.strRecord);
  }
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = options.strName;
  jTask["event"] = options.strEvent;
  jTask["owner"] = ownerOf(options.strOwner);
  jTask["operation"] = readInput(options.strScript);
  jTask["depend_on_task"] = Host::writeDependText(options.vecAfter);
  jTask["enable"] = !options.blDisabled;
  jTask["run_the_same_time"] = options.blParallel;
  jTask["notify_enable"] = !options.strMail.empty();
  jTask["notify_mail"] = options.strMail;
  jTask["notify_if_error"] = options.blMailIfError;
  return jTask;
}

void report(const std::string& strName, const Host::Findings& findings) {
  for (const Host::Finding& warning : findings.vecWarnings) {
    printNote(fmt::format("warning: task \"{}\": {}: {}", strName, warning.strMember, warning.strReason));
  }
  if (findings.vecErrors.empty()) {
    return;
  }
  std::string strErrors = fmt::format("the task \"{}\" is not added:", strName);
  for (const Host::Finding& error : findings.vecErrors) {
    strErrors += fmt::format("\n  {}: {}", error.strMember, error.strReason);
  }
  throw Host::Failure(strErrors);
}

int runAdd(const Context&, const AddOptions& options) {
  Json::Value jTask = recordOf(options);
  if (jTask.isObject()) {
    Host::fillDefaults(jTask);
  }
  const std::string strName = options.strRecord.empty() ? options.strName : Host::textOf(jTask, "task_name");
  Host::Session session;
  // What the rules were checked against must still hold when the task is stored.
  Host::WriteLock lock(session);
  report(strName, Host::checkNewTask(jTask, Host::listTasks(session)));
  Json::Value jCreated;
  if (taskPreAction(jTask) < 0 || recCreate(session.tasks(), jTask, jCreated) < 0) {
    throw Host::Failure(fmt::format("the store refused the task \"{}\"", strName));
  }
  lock.commit();
  fmt::print("added {} (event {}, owner {})\n", strName, Host::textOf(jTask, "event"), ownerText(jTask));
  return EXIT_DONE;
}

void addMemberOptions(CLI::App* pCommand, AddOptions& options, CLI::Option* pRecord) {
  const auto notWithRecord = [&](CLI::Option* pOption) { pOption->excludes(pRecord); };
  notWithRecord(pCommand->add_option("--event", options.strEvent, "event that starts it")->type_name("EVENT"));
  notWithRecord(pCommand->add_option("--owner", options.strOwner, "user, by name or id, whose rights it runs with")
                    ->type_name("USER"));
  notWithRecord(
      pCommand->add_option("--script", options.strScript, "the script; - reads standard input")->type_name("FILE"));
  notWithRecord(pCommand->add_option("--after", options.vecAfter, "task that must have ended first; may be repeated")
                    ->type_name("TASK")
                    ->expected(1)
                    ->take_all()
                    ->allow_extra_args(false));
  notWithRecord(pCommand->add_flag("--disabled", options.blDisabled, "do not let its event start it"));
  notWithRecord(pCommand->add_flag("--parallel", options.blParallel, "let a run start while another one goes on"));
  CLI::Option* pMail = pCommand->add_option("--mail", options.strMail, "tell these addresses when a run has ended")
                           ->type_name("ADDRESS,...");
  notWithRecord(pMail);
  notWithRecord(
      pCommand->add_flag("--mail-if-error", options.blMailIfError, "only when it did not end with 0")->needs(pMail));
}

/// A record names the task itself; without one, four things must be typed.
void requireComplete(const AddOptions& options) {
  if (!options.strRecord.empty()) {
    if (!options.strName.empty()) {
      throw CLI::ValidationError("TASK", "is not given together with --record, which names the task");
    }
    return;
  }
  const std::pair<const char*, const std::string&> required[] = {{"TASK", options.strName},
                                                                 {"--event", options.strEvent},
                                                                 {"--owner", options.strOwner},
                                                                 {"--script", options.strScript}};
  for (const auto& [szWhat, strValue] : required) {
    if (strValue.empty()) {
      throw CLI::RequiredError(szWhat);
    }
  }
}

}  // namespace

void addTaskAddCommand(CLI::App& task, Context& context) {
  auto pOptions = std::make_shared<AddOptions>();
  CLI::App* pCommand =
      addCommand(task, "add", "Add a task.",
                 "  eorva task add disk-usage --event bootup --owner alice --script disk-usage.sh\n"
                 "  eorva task add report --event bootup --owner 1001 --script - --after disk-usage < report.sh\n"
                 "  eorva task add --record task.json      a whole record, its owner as {\"1001\": \"alice\"}\n");
  pCommand->add_option("task", pOptions->strName, "its name")->type_name("TASK");
  CLI::Option* pRecord =
      pCommand->add_option("--record", pOptions->strRecord, "the task as a JSON record; - reads standard input")
          ->type_name("FILE");
  addMemberOptions(pCommand, *pOptions, pRecord);
  pCommand->callback([&context, pOptions] {
    requireComplete(*pOptions);
    context.fnRun = [&context, pOptions] { return runAdd(context, *pOptions); };
  });
}
