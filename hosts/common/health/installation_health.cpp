#include "installation_health.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <optional>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/config/scheduler_section.h"
#include "common/config/settings.h"
#include "common/coordination/prune_problems.h"
#include "common/output/output_place.h"
#include "common/runs/run_identity.h"
#include "common/server/shares.h"
#include "common/store/database.h"
#include "common/store/records.h"
#include "common/store/store_tables.h"
#include "common/support/control_group.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/tasks/script_check.h"
#include "common/tasks/unfinished_rename.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

constexpr char QUICK_CHECK[] = "PRAGMA quick_check(1);";
constexpr mode_t ALL_MODE_BITS = 07777;

/// A user who can change these files can make root run anything.
void checkGuardedFile(const std::string& strPath, HealthFindings& findings) {
  struct stat status{};
  if (stat(strPath.c_str(), &status) < 0) {
    return;
  }
  if (status.st_uid != 0) {
    findings.push_back({Severity::PROBLEM, "store_owner", strPath, objectOf({{"user", status.st_uid}})});
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    findings.push_back(
        {Severity::PROBLEM, "store_mode", strPath, objectOf({{"mode", status.st_mode & ALL_MODE_BITS}})});
  }
}

/// Tells whether SQLite can make the files that it needs beside a database.
bool hasRoom(const char* szFolder) {
  constexpr std::uintmax_t CB_NEEDED = std::uintmax_t{1} << 20;
  std::error_code error;
  return std::filesystem::space(szFolder, error).free >= CB_NEEDED;
}

/// The answer of a check of SQLite; empty when it finds nothing.
std::string failedPragma(const char* szPragma) {
  const Database store = openStore();
  try {
    const Statement statement = prepare(store, szPragma, DATABASE_PATH);
    const int iCode = sqlite3_step(statement.get());
    if (iCode != SQLITE_ROW) {
      return iCode == SQLITE_DONE ? "" : sqlite3_errmsg(store.get());
    }
    const std::string strAnswer = columnText(statement, 0);
    return strAnswer == "ok" ? "" : strAnswer;
  } catch (const Failure& error) {
    return error.what();
  }
}

/// Details about output: the problem, and a usable share if there is one.
Json::Value outputDetails(const std::string& strProblem = "") {
  Json::Value jDetails = objectOf({{"problem", strProblem}});
  try {
    for (const SharePtr& pShare : readShares().vecShare) {
      if (!jDetails.isMember("share") && whyUnusable(*pShare).empty()) {
        jDetails["share"] = pShare->szName;
      }
    }
  } catch (const Failure&) {
    // checkShares() has reported it.
    return jDetails;
  }
  return jDetails;
}

/// An error in a line disables all shares of its file.
void checkShares(HealthFindings& findings) {
  try {
    for (const std::string& strFault : readShares().vecFault) {
      findings.push_back({Severity::PROBLEM, "shares", "", objectOf({{"problem", strFault}})});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "shares", "", objectOf({{"problem", error.what()}})});
  }
}

void checkRoom(const OutputPlace& place, HealthFindings& findings) {
  constexpr std::uintmax_t CB_LITTLE = std::uintmax_t{64} << 20;
  try {
    if (const std::uintmax_t cb = place.requireRoom(); cb < CB_LITTLE) {
      findings.push_back({Severity::WARNING, "output_room", place.path(), objectOf({{"room", sizeText(cb)}})});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "output_full", place.path(), objectOf({{"problem", error.what()}})});
  }
}

void checkOutput(const Json::Value& jTasks, HealthFindings& findings) {
  try {
    const std::optional<OutputPlace> place = OutputPlace::enabled();
    if (place) {
      place->check();
      checkRoom(*place, findings);
    } else if (ownersOf(jTasks).size() > 1) {
      std::vector<std::string> vecProblems;
      const bool blAccepted = readSettings(vecProblems).blSharedScript;
      findings.push_back({blAccepted ? Severity::WARNING : Severity::PROBLEM, "shared_script", "", outputDetails()});
    } else {
      findings.push_back({Severity::WARNING, "no_output", "", outputDetails()});
    }
    if (const std::string strWarning = warnAboutScriptFolder(); !strWarning.empty()) {
      findings.push_back(
          {Severity::PROBLEM, "script_folder", place ? place->path() : "/tmp", objectOf({{"problem", strWarning}})});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "output_place", "", outputDetails(error.what())});
  }
}

}  // namespace

void reportUnusableStore(const std::string& strProblem, HealthFindings& findings) {
  const char* szCode = "store_unusable";
  if (access(DATABASE_PATH, F_OK) < 0) {
    szCode = errno == ENOENT ? "store_missing" : "store_out_of_reach";
  } else if (!hasRoom(STORE_FOLDER)) {
    szCode = "store_full";
  } else if (!failedPragma(QUICK_CHECK).empty()) {
    szCode = "store_unreadable";
  } else if (tablesOf(openStore().get()) != StoreTables::COMPLETE) {
    szCode = "store_empty";
  }
  findings.push_back({Severity::PROBLEM, szCode, DATABASE_PATH, objectOf({{"problem", strProblem}})});
}

void checkStoreFiles(HealthFindings& findings) {
  for (const char* szPath : {STORE_FOLDER, DATABASE_PATH, CONFIG_PATH, OWN_EVENTS_PATH}) {
    checkGuardedFile(szPath, findings);
  }
}

void checkStoreContent(HealthFindings& findings) {
  for (const char* szPragma : {QUICK_CHECK, "PRAGMA foreign_key_check;"}) {
    if (const std::string strAnswer = failedPragma(szPragma); !strAnswer.empty()) {
      findings.push_back({Severity::PROBLEM, "store_damaged", DATABASE_PATH, objectOf({{"problem", strAnswer}})});
    }
  }
}

void checkConfiguration(const Json::Value& jTasks, HealthFindings& findings) {
  try {
    schedulerConfig();
    checkShares(findings);
    checkOutput(jTasks, findings);
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "configuration_file", CONFIG_PATH, objectOf({{"problem", error.what()}})});
  }
  std::vector<std::string> vecProblems;
  readSettings(vecProblems);
  for (const std::string& strProblem : vecProblems) {
    findings.push_back({Severity::PROBLEM, "setting", SETTINGS_PATH, objectOf({{"problem", strProblem}})});
  }
  try {
    for (const std::string& strIgnored : ignoredSettings()) {
      findings.push_back({Severity::PROBLEM, "ignored_setting", SETTINGS_PATH, objectOf({{"problem", strIgnored}})});
    }
  } catch (const Failure&) {
    // readSettings() has reported an unreadable file.
    return;
  }
}

void checkMailProgram(const Json::Value& jTasks, HealthFindings& findings) {
  std::array<char, PATH_MAX> szProgram{};
  const bool blSet = KLIBCFileGetKeyValue(SERVER_SETTINGS_PATH, "mailprogram", szProgram.data(),
                                          static_cast<int>(szProgram.size())) > 0;
  const std::string strProgram = blSet && szProgram[0] != '\0' ? szProgram.data() : "/usr/sbin/sendmail";
  if (access(strProgram.c_str(), X_OK) == 0) {
    return;
  }
  const auto cMail = std::count_if(jTasks.begin(), jTasks.end(),
                                   [](const Json::Value& jTask) { return boolOf(jTask, "notify_enable"); });
  if (cMail > 0) {
    findings.push_back({Severity::PROBLEM, blSet ? "mail_program" : "no_mail_program", strProgram,
                        objectOf({{"tasks", static_cast<Json::Int64>(cMail)}})});
  }
}

void checkControlGroups(const Json::Value& jTasks, HealthFindings& findings) {
  if (!ControlGroup::own()) {
    findings.push_back({Severity::WARNING, "no_control_groups", "", Json::objectValue});
  }
  if (ControlGroup::hasController("memory")) {
    return;
  }
  for (const Json::Value& jTask : jTasks) {
    if (intOf(jTask, "memory_limit") > 0) {
      findings.push_back({Severity::WARNING, "no_memory_limit", textOf(jTask, "task_name"), Json::objectValue});
    }
  }
}

void checkRuns(Session& session, HealthFindings& findings) {
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    if (!isRunAlive(jRun)) {
      findings.push_back({Severity::PROBLEM, "run_without_process", std::to_string(intOf(jRun, "result_id")),
                          objectOf({{"task", textOf(jRun, "task_name")}})});
    }
  }
}

void checkPruning(HealthFindings& findings) {
  try {
    for (const std::string& strProblem : pruneProblems()) {
      findings.push_back({Severity::PROBLEM, "not_removed", "", objectOf({{"problem", strProblem}})});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "not_removed", "", objectOf({{"problem", error.what()}})});
  }
}

void checkUnfinishedRenames(Session& session, HealthFindings& findings) {
  try {
    for (const UnfinishedRename& lost : findUnfinishedRenames(session)) {
      findings.push_back({Severity::PROBLEM, lost.blFree ? "unfinished_rename" : "blocked_rename", lost.strTask,
                          objectOf({{"path", lost.path()}, {"place", lost.place.path()}})});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "renames_unknown", "", objectOf({{"problem", error.what()}})});
  }
}

}  // namespace Host
