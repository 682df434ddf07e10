/// \file paths.h
/// The fixed paths that hosts share with the library.

#pragma once

namespace Host {

/// Folder of the database and the configuration.
inline constexpr char STORE_FOLDER[] = "/usr/orva/etc/eorvascheduler";
inline constexpr char DATABASE_PATH[] = "/usr/orva/etc/eorvascheduler/eorvascheduler.db";
inline constexpr char CONFIG_PATH[] = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";

/// The administrators' own events.
inline constexpr char OWN_EVENTS_PATH[] = "/usr/orva/etc/eorvascheduler/own-events.json";

/// The units of administrators.
inline constexpr char UNIT_FOLDER[] = "/etc/systemd/system";

/// Note of a change of the configuration; exists only until the change is finished.
inline constexpr char CHANGE_NOTE_PATH[] = "/usr/orva/etc/eorvascheduler/unfinished-change.json";

/// The settings of administrators.
inline constexpr char SETTINGS_PATH[] = "/etc/eorva.conf";

/// Files of a run, with the process id at the end.
inline constexpr char EXIT_CODE_PREFIX[] = "/tmp/eorvascheduler_exit_code.";
inline constexpr char SCRIPT_PREFIX[] = "/tmp/eorvascheduler.script.";
inline constexpr char OUTPUT_SUFFIX[] = "/eorvascheduler.output.";

/// Files about living processes; removed by a reboot.
inline constexpr char RUNTIME_FOLDER[] = "/run/eorva";

/// One file for every running execution.
inline constexpr char EXECUTIONS_FOLDER[] = "/run/eorva/executions";

/// Locks on tasks; the file itself is empty.
inline constexpr char TASK_LOCK_PATH[] = "/run/eorva/task-locks";

/// Held while the configuration is changed; the file itself is empty.
inline constexpr char CONFIG_LOCK_PATH[] = "/run/eorva/config-lock";

/// Tickets of executions that systemd starts.
inline constexpr char TICKETS_FOLDER[] = "/run/eorva/tickets";

/// Settings of the server: mail, and its language.
inline constexpr char SERVER_SETTINGS_PATH[] = "/etc/orvainfo.conf";

/// The folders in which an execution looks for programs.
inline constexpr char PROGRAM_PATH[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

/// The type of the scheduler's section of the configuration.
inline constexpr char CONFIG_TYPE[] = "eorvascheduler";

}  // namespace Host
