/// eorva backup|restore

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/state/restore.h"

namespace {

struct BackupOptions {
  std::string strFile;
  bool blAllowEmpty = false;
};

struct RestoreOptions {
  std::string strFile;
  bool blAsNumbered = false;
  bool blYes = false;
};

int runBackup(const Context&, const BackupOptions& options) {
  Host::writeBackup(options.strFile, options.blAllowEmpty ? Host::EmptyBackup::ALLOWED : Host::EmptyBackup::REFUSED);
  say("backed up to {}\n", options.strFile);
  return EXIT_DONE;
}

int runRestore(const Context&, const RestoreOptions& options) {
  if (!options.blYes) {
    Host::checkRestore();
    confirm("tasks, run records and configuration are replaced with the backup; later changes are lost", "Restore it?",
            "nothing is restored");
  }
  const Host::Restored restored =
      Host::restore(options.strFile, options.blAsNumbered ? Host::Owners::AS_NUMBERED : Host::Owners::THE_SAME);
  for (const std::string& strWarning : restored.vecWarnings) {
    printNote("warning: " + strWarning);
  }
  say("restored from {}: the store, {}\n", options.strFile, fmt::format("{}", fmt::join(restored.vecFiles, ", ")));
  flushAfterChange();
  return EXIT_DONE;
}

}  // namespace

void addBackupCommands(CLI::App& app, Context& context) {
  CLI::App* pCommand =
      addCommand(app, "backup", "Back up tasks, runs and configuration to one file; running tasks continue.",
                 "  eorva backup /var/backups/eorva.db     'eorva restore' reads it\n"
                 "\nThe file is an SQLite database that only root can read. Run output is not in it.\n");
  auto pBackup = onCommand(pCommand, context, &runBackup);
  pCommand->add_option("file", pBackup->strFile, "backup file; replaces an existing regular file")
      ->required()
      ->type_name("FILE");
  pCommand->add_flag("--allow-empty", pBackup->blAllowEmpty,
                     "replace a backup that has tasks even if there are none now");

  pCommand =
      addCommand(app, "restore", "Restore a backup of tasks, runs and configuration.",
                 "  eorva restore /var/backups/eorva.db\n"
                 "  eorva init && eorva restore eorva.db --yes     on a new server\n"
                 "\nOwners are stored as user ids, and another server may use these ids for other users. If an id\n"
                 "belongs to another user here, eorva restores nothing.\n");
  auto pRestore = onCommand(pCommand, context, &runRestore);
  pCommand->add_option("file", pRestore->strFile, "backup file")->required()->type_name("FILE");
  pCommand->add_flag("--owners-as-numbered", pRestore->blAsNumbered, "keep user ids that belong to other users here");
  pCommand->add_flag("--yes", pRestore->blYes, "do not ask");
}
