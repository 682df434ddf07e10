/// eorva backup|restore

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "common/coordination/execution_file.h"
#include "common/runs/reconcile.h"
#include "common/state/backup.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_change_lock.h"
#include "common/text/json_members.h"

namespace {

struct BackupOptions {
  std::string strFile;
};

struct RestoreOptions {
  std::string strFile;
  bool blAsNumbered = false;
  bool blYes = false;
};

int runBackup(const Context&, const BackupOptions& options) {
  {
    // Also says what is the matter when there is no store.
    const Host::Session session;
  }
  Host::writeBackup(options.strFile);
  fmt::print("backed up to {}\n", options.strFile);
  return EXIT_DONE;
}

/// A run that goes on would be closed in a store that knows nothing of it, and the end of an execution writes back what
/// it read before.
void refuseWhileRunning() {
  Host::Session session;
  Host::reconcile(session);
  std::vector<Json::Int64> vecRuns;
  for (const Json::Value& jRun : Host::listRuns(session, "stop_time is null")) {
    vecRuns.push_back(Host::intOf(jRun, "result_id"));
  }
  if (!vecRuns.empty()) {
    throw Host::Failure(fmt::format("nothing is restored while something runs: run {}", fmt::join(vecRuns, ", ")));
  }
  if (Host::isAnyExecutionAlive()) {
    throw Host::Failure(
        "nothing is restored while an execution is under way; 'eorva runs list' shows when it has ended");
  }
}

int runRestore(const Context&, const RestoreOptions& options) {
  if (!options.blYes) {
    refuseWhileRunning();
    confirm("tasks, run records and configuration will be those of the backup, and what came later is lost",
            "Restore it?", "nothing is restored");
  }
  // From here on nothing is started until all is there.
  const Host::Standstill standstill("restored");
  refuseWhileRunning();
  std::vector<std::string> vecWarnings;
  const std::vector<std::string> vecRestored = Host::restoreBackup(
      options.strFile, options.blAsNumbered ? Host::Owners::AS_NUMBERED : Host::Owners::THE_SAME, vecWarnings);
  for (const std::string& strWarning : vecWarnings) {
    printNote("warning: " + strWarning);
  }
  // Runs that were under way at the time of the backup have been over for long.
  Host::Session session;
  Host::reconcile(session);
  fmt::print("restored from {}: the store, {}\n", options.strFile, fmt::join(vecRestored, ", "));
  return EXIT_DONE;
}

}  // namespace

void addBackupCommands(CLI::App& app, Context& context) {
  auto pBackup = std::make_shared<BackupOptions>();
  CLI::App* pCommand =
      addCommand(app, "backup", "Write tasks, run records and configuration to one file, while everything goes on.",
                 "  eorva backup /var/backups/eorva.db     'eorva restore' reads it\n"
                 "\nThe file is an SQLite database that only root can read. Kept output is not in it.\n");
  pCommand
      ->add_option("file", pBackup->strFile,
                   "the file; a plain one that is there is replaced, no link and none of the store")
      ->required()
      ->type_name("FILE");
  onCommand(pCommand, context, pBackup, &runBackup);

  auto pRestore = std::make_shared<RestoreOptions>();
  pCommand =
      addCommand(app, "restore", "Put a backup in the place of tasks, run records and configuration.",
                 "  eorva restore /var/backups/eorva.db\n"
                 "  eorva init && eorva restore eorva.db --yes     on a new server\n"
                 "\nNothing is restored when the number of a task's owner is that of another user here than\n"
                 "where the backup was made, or of none: its script would run with the rights of somebody else.\n");
  pCommand->add_option("file", pRestore->strFile, "what 'eorva backup' has written")->required()->type_name("FILE");
  pCommand->add_flag("--owners-as-numbered", pRestore->blAsNumbered,
                     "also when numbers of owners are those of other users here");
  pCommand->add_flag("--yes", pRestore->blYes, "do not ask");
  onCommand(pCommand, context, pRestore, &runRestore);
}
