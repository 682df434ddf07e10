/// eorva backup|restore

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/confirm.h"
#include "cli/terminal/present.h"
#include "common/state/restore.h"

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
  Host::writeBackup(options.strFile);
  fmt::print("backed up to {}\n", options.strFile);
  return EXIT_DONE;
}

int runRestore(const Context&, const RestoreOptions& options) {
  if (!options.blYes) {
    Host::checkRestore();
    confirm("tasks, run records and configuration will be those of the backup, and what came later is lost",
            "Restore it?", "nothing is restored");
  }
  const Host::Restored restored =
      Host::restore(options.strFile, options.blAsNumbered ? Host::Owners::AS_NUMBERED : Host::Owners::THE_SAME);
  for (const std::string& strWarning : restored.vecWarnings) {
    printNote("warning: " + strWarning);
  }
  fmt::print("restored from {}: the store, {}\n", options.strFile, fmt::join(restored.vecFiles, ", "));
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
