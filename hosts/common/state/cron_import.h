/// \file cron_import.h
/// Turns what cron runs into a document of tasks and events.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apply.h"

namespace Host {

struct CronImportRequest {
  std::vector<std::string> vecPaths;  ///< folders of scripts, folders of tables, and tables
  std::string strOwner;   ///< who runs the scripts; of a table: whose it is, empty when its lines name users
  std::string strEvent;   ///< of scripts; empty when the folder is /etc/cron.daily or the like
  std::string strPrefix;  ///< begins the names of tasks
  bool blAll = false;     ///< also scripts that do nothing because their package has a timer
};

/// A file or a line of a table that is not imported.
struct CronSkipped {
  enum Reason : std::uint8_t {
    NAME,  ///< cron ignores files with such names
    NOT_A_FILE,
    NOT_EXECUTABLE,
    PROGRAM,     ///< not a script
    ANACRON,     ///< tells anacron that cron has run the scripts
    TIMER,       ///< does nothing under systemd: its package has a timer
    WRITABLE,    ///< would be run by root, and not only root can change it
    UNREADABLE,  ///< would be shown to a user who may not read it
    FOLDER,      ///< runs the scripts of a folder, which can be imported itself
  };

  std::string strWhat;
  Reason reason;
};

/// A file from which tasks are imported.
struct CronSource {
  enum Kind : std::uint8_t { SCRIPT, TABLE, TABLE_OF_USER };

  std::string strPath;
  Kind kind;
  std::string strUser;  ///< of the table of a user
};

struct CronImport {
  ApplyPlan plan;
  std::vector<CronSkipped> vecSkipped;
  std::vector<CronSource> vecSources;
};

/// Reads what cron runs, and plans tasks and events that do the same. Importing the same again changes nothing.
/// \throw Failure with everything that is wrong; also when a task or an event of another content has the name of an
///        imported one.
CronImport planCronImport(const CronImportRequest& request);

}  // namespace Host
