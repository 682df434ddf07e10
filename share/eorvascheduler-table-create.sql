-- Tables of the scheduler's database, schema version 2.
--
-- The store runs this when the database is older than that, under the write lock; it is harmless to run again. It can
-- also be given to the sqlite3 shell. Names and types of the columns stand in eorvascheduler-table-def.json too.

-- Readers and one writer do not wait for each other, and a commit costs one sync. The mode stays with the file.
PRAGMA journal_mode = WAL;

-- Short columns that queries look at come first: the script text, which can be long, is not read to get at them.
CREATE TABLE IF NOT EXISTS task (
  task_name         TEXT    NOT NULL PRIMARY KEY CHECK (task_name <> ''),
  event             TEXT    NOT NULL DEFAULT '',
  depend_on_task    TEXT    NOT NULL DEFAULT '',
  enable            INTEGER NOT NULL DEFAULT 0 CHECK (enable IN (0, 1)),
  -- A user id. No default: a task without an owner must not become the superuser's. The last id means "none".
  owner             INTEGER NOT NULL CHECK (typeof(owner) = 'integer' AND owner BETWEEN 0 AND 4294967294),
  run_the_same_time INTEGER NOT NULL DEFAULT 0 CHECK (run_the_same_time IN (0, 1)),
  notify_enable     INTEGER NOT NULL DEFAULT 0 CHECK (notify_enable IN (0, 1)),
  notify_if_error   INTEGER NOT NULL DEFAULT 0 CHECK (notify_if_error IN (0, 1)),
  -- Seconds; 0 is no limit.
  time_limit        INTEGER NOT NULL DEFAULT 0 CHECK (time_limit >= 0),
  last_start_time   INTEGER,
  last_stop_time    INTEGER,
  operation_type    TEXT    NOT NULL DEFAULT 'script' CHECK (operation_type <> ''),
  status            TEXT,
  last_exit_info    TEXT,
  notify_mail       TEXT    NOT NULL DEFAULT '',
  description       TEXT,
  operation         TEXT    NOT NULL DEFAULT ''
) STRICT;

CREATE INDEX IF NOT EXISTS task_of_event ON task (event, depend_on_task, enable);

-- Numbers are never given twice, so that a number that somebody kept never means another run.
CREATE TABLE IF NOT EXISTS task_result (
  result_id       INTEGER PRIMARY KEY AUTOINCREMENT,
  -- A new name carries the runs along; deleting a task deletes its history.
  task_name       TEXT    NOT NULL REFERENCES task (task_name) ON UPDATE CASCADE ON DELETE CASCADE,
  start_time      INTEGER,
  stop_time       INTEGER,
  pid             INTEGER,
  event_fire_time INTEGER,
  trigger_event   TEXT,
  exit_info       TEXT,
  run_time_env    TEXT,
  extra           TEXT,
  -- Which process `pid` means: the boot it belongs to, and when it started, in clock ticks since that boot.
  boot_id         TEXT,
  start_ticks     INTEGER,
  -- Why it was ended before it ended by itself: stopped, time_limit, budget.
  ended_by        TEXT
) STRICT;

CREATE INDEX IF NOT EXISTS task_result_of_task ON task_result (task_name);

-- Open runs are few among many.
CREATE INDEX IF NOT EXISTS task_result_open ON task_result (result_id) WHERE stop_time IS NULL;

-- What is remembered of the last times that each event was fired. Runs tell what was started; this tells what was not.
CREATE TABLE IF NOT EXISTS firing (
  firing_id       INTEGER PRIMARY KEY AUTOINCREMENT,
  event           TEXT    NOT NULL,
  -- When the event happened; when its tasks were looked at; when all was over.
  fire_time       INTEGER NOT NULL,
  begin_time      INTEGER NOT NULL,
  end_time        INTEGER,
  -- Its runs have this time and the event, and numbers above the last one before.
  event_fire_time INTEGER,
  last_result     INTEGER NOT NULL DEFAULT 0,
  -- Why none of its tasks could be run.
  problem         TEXT
) STRICT;

CREATE INDEX IF NOT EXISTS firing_of_event ON firing (event);

-- The tasks that the event had then.
CREATE TABLE IF NOT EXISTS firing_task (
  firing_task_id  INTEGER PRIMARY KEY AUTOINCREMENT,
  firing_id       INTEGER NOT NULL REFERENCES firing (firing_id) ON DELETE CASCADE,
  task_name       TEXT    NOT NULL REFERENCES task (task_name) ON UPDATE CASCADE ON DELETE CASCADE,
  -- Why it was not started; empty when it was, or was to be.
  reasons         TEXT    NOT NULL,
  UNIQUE (firing_id, task_name)
) STRICT;

CREATE INDEX IF NOT EXISTS firing_task_of_task ON firing_task (task_name);

PRAGMA user_version = 2;
