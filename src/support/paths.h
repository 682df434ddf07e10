// The fixed paths of an installed system. None of them is configurable.

#pragma once

namespace Orva {

constexpr char EORVA_SCHEDULER_DB_PATH[] = "/usr/orva/etc/eorvascheduler/eorvascheduler.db";
constexpr char EORVA_SCHEDULER_CONFIG_PATH[] = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
constexpr char EORVA_SCHEDULER_TABLE_DEFINE_PATH[] = "/usr/orva/share/eorvascheduler/eorvascheduler-table-def.json";
constexpr char EORVA_SCHEDULER_TABLE_CREATE_PATH[] = "/usr/orva/share/eorvascheduler/eorvascheduler-table-create.sql";
constexpr char EORVA_SCHEDULER_EVENT_PATH[] = "/usr/orva/share/eorvascheduler/eorvascheduler-event.json";

// The process id is appended: of the child for the exit code, of the runner for the script.
constexpr char EXIT_CODE_PREFIX[] = "/tmp/eorvascheduler_exit_code.";
constexpr char TEMPORARY_SCRIPT_PREFIX[] = "/tmp/eorvascheduler.script.";
// Below the temporary folder of a volume; "." and the child's process id are appended.
constexpr char TEMPORARY_OUTPUT_NAME[] = "/eorvascheduler.output";

constexpr char SZCMD_DAR_ORVAKBVNOTIFY[] = "/usr/orva/bin/orvakbvnotify";
constexpr char SERVER_SETTINGS_PATH[] = "/etc/orvainfo.conf";
constexpr char WEB_ROOT[] = "/usr/orva/orvaman/webman/";
constexpr char TEXTS_FOLDER[] = "/texts/";

}  // namespace Orva
