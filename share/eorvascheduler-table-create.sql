-- Tables of the scheduler's database, schema version 3.
--
-- The store runs this file, under the write lock, when the database has an older version. It is harmless to run it again,
-- and the sqlite3 shell can run it, too. eorvascheduler-table-def.json also has the names and types of the columns.

-- With WAL, readers and the writer do not wait for each other, and a commit costs one sync. The file keeps the mode.
PRAGMA journal_mode = WAL;

-- The short columns that queries use come first, so SQLite need not read the long script text to reach them.
CREATE TABLE IF NOT EXISTS task (
  task_name         TEXT    NOT NULL PRIMARY KEY CHECK (task_name <> ''),
  event             TEXT    NOT NULL DEFAULT '',
  depend_on_task    TEXT    NOT NULL DEFAULT '',
  enable            INTEGER NOT NULL DEFAULT 0 CHECK (enable IN (0, 1)),
  -- A user id. There is no default, because 0 would make a task root's. 4294967295 means "no user".
  owner             INTEGER NOT NULL CHECK (typeof(owner) = 'integer' AND owner BETWEEN 0 AND 4294967294),
  run_the_same_time INTEGER NOT NULL DEFAULT 0 CHECK (run_the_same_time IN (0, 1)),
  notify_enable     INTEGER NOT NULL DEFAULT 0 CHECK (notify_enable IN (0, 1)),
  notify_if_error   INTEGER NOT NULL DEFAULT 0 CHECK (notify_if_error IN (0, 1)),
  -- Seconds; 0 means no limit.
  time_limit        INTEGER NOT NULL DEFAULT 0 CHECK (time_limit >= 0),
  last_start_time   INTEGER,
  last_stop_time    INTEGER,
  operation_type    TEXT    NOT NULL DEFAULT 'script' CHECK (operation_type <> ''),
  status            TEXT,
  last_exit_info    TEXT,
  notify_mail       TEXT    NOT NULL DEFAULT '',
  description       TEXT,
  -- The name that the owner's user id had when it was stored; null when unknown.
  owner_name        TEXT,
  -- Bytes of output that a run may have; 0 means no limit, null the limit of the settings.
  output_limit      INTEGER CHECK (output_limit >= 0),
  -- How a run is launched: its working directory, priorities, bytes of memory (0 means no limit), and variables, an object
  -- of their names and values.
  directory         TEXT    NOT NULL DEFAULT '/',
  nice              INTEGER NOT NULL DEFAULT 0 CHECK (nice BETWEEN -20 AND 19),
  io_class          TEXT    NOT NULL DEFAULT 'none',
  memory_limit      INTEGER NOT NULL DEFAULT 0 CHECK (memory_limit >= 0),
  environment       TEXT    NOT NULL DEFAULT '{}',
  -- The task starts only when all tasks that it waits for have succeeded.
  only_after_success INTEGER NOT NULL DEFAULT 0 CHECK (only_after_success IN (0, 1)),
  -- How often a failed run is repeated, and after how many seconds.
  retries           INTEGER NOT NULL DEFAULT 0 CHECK (retries >= 0),
  retry_after       INTEGER NOT NULL DEFAULT 60 CHECK (retry_after >= 0),
  operation         TEXT    NOT NULL DEFAULT ''
) STRICT;

CREATE INDEX IF NOT EXISTS task_of_event ON task (event, depend_on_task, enable);

-- The tasks that wait for others; those that are running.
CREATE INDEX IF NOT EXISTS task_waiting ON task (depend_on_task, task_name) WHERE depend_on_task <> '';
CREATE INDEX IF NOT EXISTS task_running ON task (task_name)
  WHERE status IS NOT NULL AND status NOT LIKE '%"running":[]%';

-- Numbers are never used again, so an old number never means another run.
CREATE TABLE IF NOT EXISTS task_result (
  result_id       INTEGER PRIMARY KEY AUTOINCREMENT,
  -- Renaming a task renames it here; deleting a task deletes its runs.
  task_name       TEXT    NOT NULL REFERENCES task (task_name) ON UPDATE CASCADE ON DELETE CASCADE,
  start_time      INTEGER,
  stop_time       INTEGER,
  pid             INTEGER,
  event_fire_time INTEGER,
  trigger_event   TEXT,
  exit_info       TEXT,
  run_time_env    TEXT,
  extra           TEXT,
  -- These identify the process `pid`: the boot in which it started, and its start in clock ticks since that boot.
  boot_id         TEXT,
  start_ticks     INTEGER,
  -- Why the scheduler ended the run: stopped, time_limit, budget.
  ended_by        TEXT,
  -- The wait status of the shell that ran the script; -1 when no script was started.
  shell_status    INTEGER,
  -- What the run's processes used; null when unknown.
  cpu_usec        INTEGER,
  memory_peak     INTEGER,
  io_read         INTEGER,
  io_written      INTEGER,
  -- The task's owner when the run started. The task may have another one by now, and the id another user.
  owner           INTEGER,
  owner_name      TEXT,
  -- A repeated run: the number of the first one, and which try it is. Null for the first one.
  retry_of        INTEGER,
  attempt         INTEGER
) STRICT;

-- The runs of a task by number; the one that a folder of output belongs to.
CREATE INDEX IF NOT EXISTS task_result_of_task ON task_result (task_name);
CREATE INDEX IF NOT EXISTS task_result_at ON task_result (task_name, start_time);

-- The runs of an event by number; those of one firing.
CREATE INDEX IF NOT EXISTS task_result_of_event ON task_result (trigger_event);
CREATE INDEX IF NOT EXISTS task_result_of_firing ON task_result (trigger_event, event_fire_time);

-- Older versions did not store it.
UPDATE task_result SET owner = (SELECT owner FROM task WHERE task.task_name = task_result.task_name) WHERE owner IS NULL;

-- Only few runs are open.
CREATE INDEX IF NOT EXISTS task_result_open ON task_result (result_id) WHERE stop_time IS NULL;

-- The last times that each event was fired. task_result has the tasks that started, these tables those that did not.
CREATE TABLE IF NOT EXISTS firing (
  firing_id       INTEGER PRIMARY KEY AUTOINCREMENT,
  event           TEXT    NOT NULL,
  -- When the event happened, when its tasks were listed, and when its execution ended.
  fire_time       INTEGER NOT NULL,
  begin_time      INTEGER NOT NULL,
  end_time        INTEGER,
  -- The execution's runs have this time and the event, and a higher number than last_result.
  event_fire_time INTEGER,
  last_result     INTEGER NOT NULL DEFAULT 0,
  -- Why no task could run.
  problem         TEXT
) STRICT;

CREATE INDEX IF NOT EXISTS firing_of_event ON firing (event);

-- The tasks that the event had at that time.
CREATE TABLE IF NOT EXISTS firing_task (
  firing_task_id  INTEGER PRIMARY KEY AUTOINCREMENT,
  firing_id       INTEGER NOT NULL REFERENCES firing (firing_id) ON DELETE CASCADE,
  task_name       TEXT    NOT NULL REFERENCES task (task_name) ON UPDATE CASCADE ON DELETE CASCADE,
  -- Why the task did not start; empty if it started or was going to.
  reasons         TEXT    NOT NULL,
  UNIQUE (firing_id, task_name)
) STRICT;

CREATE INDEX IF NOT EXISTS firing_task_of_task ON firing_task (task_name);

PRAGMA user_version = 3;
