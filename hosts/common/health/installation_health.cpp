#include "installation_health.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/config/scheduler_section.h"
#include "common/config/settings.h"
#include "common/output/output_folder.h"
#include "common/runs/reconcile.h"
#include "common/server/shares.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/tasks/script_check.h"
#include "common/tasks/unfinished_rename.h"
#include "common/text/command_text.h"
#include "common/text/json_members.h"
#include "common/text/shell_word.h"

namespace Host {

namespace {

using Severity = HealthFinding::Severity;

/// Who can change these files can have anything run by root.
void checkGuardedFile(const std::string& strPath, HealthFindings& findings) {
  struct stat status{};
  if (stat(strPath.c_str(), &status) < 0) {
    return;
  }
  if (status.st_uid != 0) {
    findings.push_back({Severity::PROBLEM, "store", strPath,
                        fmt::format("{} belongs to user {}, not to root", strPath, status.st_uid),
                        fmt::format("chown root {}", strPath)});
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    findings.push_back({Severity::PROBLEM, "store", strPath,
                        fmt::format("{} may be changed by others (mode {:04o})", strPath, status.st_mode & 07777),
                        fmt::format("chmod go-w {}", strPath)});
  }
}

/// What a check of SQLite's own says; empty when it is content.
std::string failedPragma(sqlite3* pDb, const char* szPragma) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(pDb, szPragma, -1, &pStatement, nullptr) != SQLITE_OK) {
    return sqlite3_errmsg(pDb);
  }
  std::string strSays;
  const int iCode = sqlite3_step(pStatement);
  if (iCode == SQLITE_ROW) {
    const auto* szText = reinterpret_cast<const char*>(sqlite3_column_text(pStatement, 0));
    strSays = szText != nullptr ? szText : "";
  } else if (iCode != SQLITE_DONE) {
    strSays = sqlite3_errmsg(pDb);
  }
  sqlite3_finalize(pStatement);
  return strSays == "ok" ? std::string() : strSays;
}

/// Names a share that can be used, when there is one.
std::string setOutputCommand() {
  constexpr const char* SEE_SHARES = "eorva share list";
  try {
    for (const SharePtr& pShare : readShares().vecShare) {
      if (whyUnusable(*pShare).empty()) {
        return eorvaCommand("config set", {}, optionText("--output-path", pShare->szName));
      }
    }
    return SEE_SHARES;
  } catch (const Failure&) {
    // It says what is the matter.
    return SEE_SHARES;
  }
}

/// What stands beside a store belongs to it: a journal of this one must not be read into the next one.
std::string restoreAdvice() {
  return fmt::format(
      "mkdir {0}/damaged && mv {1}* {0}/damaged/ && eorva init && eorva restore FILE      # FILE: what "
      "'eorva backup' has written; without one, sqlite3 {0}/damaged/eorvascheduler.db .recover",
      STORE_FOLDER, DATABASE_PATH);
}

/// One line that cannot be read takes all shares of its file away.
void checkShares(HealthFindings& findings) {
  try {
    for (const std::string& strFault : readShares().vecFault) {
      findings.push_back({Severity::PROBLEM, "shares", "", strFault, "eorva share list"});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "shares", "", error.what(), "eorva share list"});
  }
}

void checkOutput(const Json::Value& jTasks, HealthFindings& findings) {
  const std::string strSetOutput = setOutputCommand();
  try {
    const std::optional<OutputFolder> folder = OutputFolder::configured();
    if (folder) {
      folder->check();
    } else if (ownersOf(jTasks).size() > 1) {
      std::vector<std::string> vecProblems;
      const bool blAccepted = readSettings(vecProblems).blSharedScript;
      findings.push_back({blAccepted ? Severity::WARNING : Severity::PROBLEM, "output", "",
                          "no output is kept, and so a script of one owner can be run with the rights of another",
                          strSetOutput});
    } else {
      findings.push_back({Severity::WARNING, "output", "", "no output of runs is kept", strSetOutput});
    }
    if (const std::string strWarning = warnAboutScriptFolder(); !strWarning.empty()) {
      findings.push_back({Severity::PROBLEM, "output", folder ? folder->path() : "/tmp", strWarning,
                          fmt::format("mount -o remount,exec \"$(findmnt -no TARGET -T {})\"",
                                      shellWord(folder ? folder->path() : "/tmp"))});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "output", "", error.what(), strSetOutput});
  }
}

}  // namespace

std::string storeAdvice() {
  if (access(DATABASE_PATH, F_OK) < 0) {
    return errno == ENOENT ? "eorva init" : fmt::format("ls -ld {} {}", STORE_FOLDER, DATABASE_PATH);
  }
  sqlite3* pDb = nullptr;
  sqlite3_open_v2(DATABASE_PATH, &pDb, SQLITE_OPEN_READWRITE, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> guard(pDb, &sqlite3_close);
  if (pDb != nullptr && failedPragma(pDb, "PRAGMA quick_check(1);").empty()) {
    return "journalctl -t eorva -n 20";
  }
  return restoreAdvice();
}

void checkStore(const Session* pSession, HealthFindings& findings) {
  for (const char* szPath : {STORE_FOLDER, DATABASE_PATH, CONFIG_PATH}) {
    checkGuardedFile(szPath, findings);
  }
  if (pSession == nullptr) {
    return;
  }
  for (const char* szPragma : {"PRAGMA quick_check(1);", "PRAGMA foreign_key_check;"}) {
    if (const std::string strSays = failedPragma(pSession->db(), szPragma); !strSays.empty()) {
      findings.push_back({Severity::PROBLEM, "store", DATABASE_PATH,
                          fmt::format("the store {} is damaged: {}", DATABASE_PATH, strSays), restoreAdvice()});
    }
  }
}

void checkConfiguration(const Json::Value& jTasks, HealthFindings& findings) {
  try {
    schedulerConfig();
    checkShares(findings);
    checkOutput(jTasks, findings);
  } catch (const Failure& error) {
    findings.push_back({Severity::PROBLEM, "configuration", CONFIG_PATH, error.what(),
                        fmt::format("mv {0} {0}.bad && eorva init", CONFIG_PATH)});
  }
  std::vector<std::string> vecProblems;
  readSettings(vecProblems);
  for (const std::string& strProblem : vecProblems) {
    findings.push_back({Severity::PROBLEM, "configuration", "/etc/eorva.conf", strProblem, "eorva config set --help"});
  }
  try {
    for (const std::string& strIgnored : ignoredSettings()) {
      findings.push_back(
          {Severity::PROBLEM, "configuration", SETTINGS_PATH, strIgnored, fmt::format("editor {}", SETTINGS_PATH)});
    }
  } catch (const Failure&) {
    // That the file cannot be read is among the problems above.
    return;
  }
}

void checkMailProgram(const Json::Value& jTasks, HealthFindings& findings) {
  constexpr char SETTINGS[] = "/etc/orvainfo.conf";
  std::array<char, PATH_MAX> szProgram{};
  const bool blSet =
      KLIBCFileGetKeyValue(SETTINGS, "mailprogram", szProgram.data(), static_cast<int>(szProgram.size())) > 0;
  const std::string strProgram = blSet && szProgram[0] != '\0' ? szProgram.data() : "/usr/sbin/sendmail";
  if (access(strProgram.c_str(), X_OK) == 0) {
    return;
  }
  const auto cMail = std::count_if(jTasks.begin(), jTasks.end(),
                                   [](const Json::Value& jTask) { return boolOf(jTask, "notify_enable"); });
  findings.push_back({cMail > 0 ? Severity::PROBLEM : Severity::WARNING, "mail", strProgram,
                      fmt::format("the mail program {} cannot be run; {} task{} to send mail", strProgram, cMail,
                                  cMail == 1 ? " wants" : "s want"),
                      blSet ? fmt::format("editor {}", SETTINGS) : "apt-get install default-mta"});
}

void checkRuns(Session& session, HealthFindings& findings) {
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    if (!isRunAlive(jRun)) {
      findings.push_back({Severity::PROBLEM, "runs", std::to_string(intOf(jRun, "result_id")),
                          fmt::format("run {} of \"{}\" is recorded as running, but its process is gone",
                                      intOf(jRun, "result_id"), textOf(jRun, "task_name")),
                          "eorva check --repair"});
    }
  }
}

void checkUnfinishedRenames(Session& session, HealthFindings& findings) {
  try {
    for (const UnfinishedRename& lost : findUnfinishedRenames(session)) {
      const std::string strTo = shellWord(fmt::format("{}/{}", lost.place.path(), lost.strTask));
      findings.push_back({Severity::PROBLEM, "output", lost.strTask,
                          fmt::format("output of \"{}\" lies in {}, which belongs to no task: a change of the name was "
                                      "cut off",
                                      lost.strTask, lost.path()),
                          lost.blFree ? "eorva check --repair"
                                      : fmt::format("mv --no-clobber {}/* {}/", shellWord(lost.path()), strTo)});
    }
  } catch (const Failure& error) {
    findings.push_back({Severity::WARNING, "output", "", error.what(), "eorva check"});
  }
}

}  // namespace Host
