/// eorva import cron

#include <fmt/format.h>

#include "cli/apply_plan.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/state/cron_import.h"
#include "common/text/shell_word.h"

using Host::CronSkipped;
using Host::CronSource;

namespace {

struct ImportOptions {
  Host::CronImportRequest request;
  ApplyOptions apply;
};

std::string skippedText(const CronSkipped& skipped) {
  switch (skipped.reason) {
    case CronSkipped::NAME:
      return "cron ignores files with such names";
    case CronSkipped::NOT_A_FILE:
      return "not a file";
    case CronSkipped::NOT_EXECUTABLE:
      return "not executable";
    case CronSkipped::PROGRAM:
      return "a program, not a script";
    case CronSkipped::ANACRON:
      return "only for anacron";
    case CronSkipped::TIMER:
      return "does nothing under systemd, because its package has a timer; to import it, add --all";
    case CronSkipped::WRITABLE:
      return "root would run it, and not only root can change it; for the table or the scripts of a user, add --owner "
             "USER";
    case CronSkipped::UNREADABLE:
      return "the owner of the task may not read it";
    case CronSkipped::FOLDER:
      return "runs the scripts of a folder; import that folder";
  }
  return {};
}

/// How to switch off in cron what has been imported, a line for each way.
std::string switchOffText(const std::vector<CronSource>& vecSources) {
  std::string strScripts;
  std::string strTables;
  for (const CronSource& source : vecSources) {
    if (source.kind == CronSource::SCRIPT) {
      strScripts += " " + Host::shellWord(source.strPath);
    } else if (source.kind == CronSource::TABLE) {
      strTables += fmt::format("\n    comment out the lines in {}", source.strPath);
    } else {
      strTables += fmt::format("\n    crontab -e -u {}", Host::shellWord(source.strUser));
    }
  }
  return (strScripts.empty() ? "" : "\n    chmod -x" + strScripts) + strTables;
}

int runImportCron(const Context& context, const ImportOptions& options) {
  const Host::CronImport import = Host::planCronImport(options.request);
  for (const CronSkipped& skipped : import.vecSkipped) {
    printNote(fmt::format("skipped {}: {}", skipped.strWhat, skippedText(skipped)));
  }
  const bool blNew = !import.plan.difference.isEmpty();
  const int iStatus = applyPlan(context, import.plan, options.apply);
  if (blNew && iStatus == EXIT_DONE) {
    printNote("cron still runs the same; to switch it off there:" + switchOffText(import.vecSources));
  }
  return iStatus;
}

void addImportCronCommand(CLI::App& import, Context& context) {
  CLI::App* pCommand = addCommand(
      import, "cron", "Add tasks that do what cron does; cron itself is unchanged.",
      "  eorva import cron /etc/cron.daily --dry-run     shows what it would add\n"
      "  eorva import cron /etc/cron.hourly /etc/cron.daily /etc/cron.weekly /etc/cron.monthly /etc/cron.d\n"
      "  eorva import cron crontab.txt --owner alice     the table of a user, as 'crontab -l' prints it\n"
      "\nA schedule becomes an event with a timer, unless hourly, daily, weekly, monthly or bootup is the same.\n"
      "MAILTO becomes --mail --mail-if-error. If something is wrong, nothing is added.\n");
  auto pOptions = onCommand(pCommand, context, &runImportCron);
  Host::CronImportRequest& request = pOptions->request;
  pCommand->add_option("path", request.vecPaths, "folders of scripts, folders of tables (cron.d, crontabs), or tables")
      ->required()
      ->type_name("DIR|FILE");
  pCommand->add_option("--owner", request.strOwner, "owner of the scripts (default root), or of a user's table")
      ->type_name("USER");
  pCommand
      ->add_option("--event", request.strEvent, "event of the scripts (default by the folder: daily for cron.daily)")
      ->type_name("EVENT");
  pCommand->add_option("--prefix", request.strPrefix, "text before the names of the tasks")->type_name("TEXT");
  pCommand->add_flag("--all", request.blAll, "also scripts that do nothing under systemd");
  addApplyOptions(pCommand, pOptions->apply);
}

}  // namespace

void addImportCommands(CLI::App& app, Context& context) {
  CLI::App* pImport =
      addCommand(app, "import", "Add tasks from other schedulers.", "  eorva import cron /etc/cron.daily --dry-run\n");
  pImport->require_subcommand(1);
  addImportCronCommand(*pImport, context);
}
